/* What /dev/rigbusN of rigbus.ko says to the process behind a bus, and hears from it. A transaction is read as a
 * rig_transaction, its phases, and the bytes that are sent; it is answered with one write of a rig_outcome and the
 * bytes that were received. */
#ifndef RIGBUS_H
#define RIGBUS_H

#include <linux/types.h>

enum { RIG_I2C = 0, RIG_SPI = 1 };

struct rig_transaction {
    __u32 bus;      /* RIG_I2C or RIG_SPI */
    __u32 address;  /* of the slave on I2C */
    __u32 phases;   /* how many rig_phase follow */
    __u32 outBytes; /* how many bytes follow those */
};

enum { RIG_IN = 1, RIG_OUT = 2 }; /* an SPI transfer may go both ways */

struct rig_phase {
    __u32 length;
    __u32 ways;
};

struct rig_outcome {
    __s32 status; /* a negative errno, or the phases carried out */
    __u32 bytes;  /* carried out, in both directions */
};

#endif
