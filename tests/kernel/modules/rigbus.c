// SPDX-License-Identifier: GPL-2.0
// Two boards, each an I2C adapter (i2c-1, i2c-2) and a chip select of SPI bus 0 (spidev0.0, spidev0.1), whose far end
// is a user process at /dev/rigbus0 and /dev/rigbus1: rigbus.h says how they talk. What stands in front, i2c-dev and
// spidev, is the kernel's own. A test's module: never unloaded, so that nothing here is given back.
#include "rigbus.h"

#include <linux/completion.h>
#include <linux/i2c.h>
#include <linux/miscdevice.h>
#include <linux/module.h>
#include <linux/mutex.h>
#include <linux/platform_device.h>
#include <linux/spi/spi.h>
#include <linux/uaccess.h>
#include <linux/wait.h>

enum { MAX_BYTES = 65536, MAX_PHASES = 64, ANSWER_SECONDS = 60 };

enum stage { IDLE, OFFERED, TAKEN };

struct board {
    struct mutex lock; // one transaction at a time; guards all below but `stage`
    // Guards `stage`, and what is below while the process reads or answers: whoever asked may be killed at any moment,
    // and the next one would write into what the process still reads, or take the answer to another for its own.
    struct mutex handover;
    struct completion answered;
    wait_queue_head_t offered;
    enum stage stage; // moves on in the order of its values, each step by the one side whose turn it is
    struct rig_transaction head;
    struct rig_phase phases[MAX_PHASES];
    u8 out[MAX_BYTES];
    u8 in[MAX_BYTES];
    u32 inBytes;
    struct rig_outcome outcome;
    atomic_t processes; // that have /dev/rigbusN open
    struct miscdevice device;
    struct i2c_adapter adapter;
};

static struct board boards[2];

static bool single; // the adapters cannot combine: a transaction is one message
module_param(single, bool, 0644);

static int add_phase(struct board* board, u32 length, u32 ways, const void* bytes) {
    if (board->head.phases == MAX_PHASES || length > MAX_BYTES) return -EMSGSIZE;
    if ((ways & RIG_OUT) && board->head.outBytes + length > MAX_BYTES) return -EMSGSIZE;
    board->phases[board->head.phases++] = (struct rig_phase){.length = length, .ways = ways};
    if (ways & RIG_OUT) {
        memcpy(board->out + board->head.outBytes, bytes, length);
        board->head.outBytes += length;
    }
    return 0;
}

static void set_stage(struct board* board, enum stage stage) {
    mutex_lock(&board->handover);
    WRITE_ONCE(board->stage, stage);
    mutex_unlock(&board->handover);
}

// Until the process has answered. Where there is none, nobody acknowledges.
static int ask(struct board* board) {
    long left;

    if (atomic_read(&board->processes) == 0) return -ENXIO;
    reinit_completion(&board->answered);
    set_stage(board, OFFERED);
    wake_up_interruptible(&board->offered);
    left = wait_for_completion_killable_timeout(&board->answered, ANSWER_SECONDS * HZ);
    set_stage(board, IDLE);
    if (left > 0) return board->outcome.status;
    return left < 0 ? -EINTR : -ETIMEDOUT;
}

// The next received bytes, as far as there are any.
static void take(struct board* board, u32* at, void* bytes, u32 length) {
    if (*at + length > board->inBytes) return;
    memcpy(bytes, board->in + *at, length);
    *at += length;
}

static int i2c_transfer_rig(struct i2c_adapter* adapter, struct i2c_msg* messages, int count) {
    struct board* board = i2c_get_adapdata(adapter);
    int result = 0;
    u32 at = 0;
    int i;

    if (single && count > 1) return -EOPNOTSUPP;
    mutex_lock(&board->lock);
    board->head = (struct rig_transaction){.bus = RIG_I2C, .address = messages[0].addr};
    for (i = 0; i < count && result == 0; i++)
        result = add_phase(board, messages[i].len, messages[i].flags & I2C_M_RD ? RIG_IN : RIG_OUT, messages[i].buf);
    if (result == 0) result = ask(board);
    for (i = 0; i < result; i++)
        if (messages[i].flags & I2C_M_RD) take(board, &at, messages[i].buf, messages[i].len);
    mutex_unlock(&board->lock);
    return result;
}

static u32 i2c_functions_rig(struct i2c_adapter* adapter) {
    return I2C_FUNC_I2C | I2C_FUNC_SMBUS_EMUL;
}

static const struct i2c_algorithm i2c_rig = {
    .master_xfer = i2c_transfer_rig,
    .functionality = i2c_functions_rig,
};

static int spi_transfer_rig(struct spi_controller* controller, struct spi_message* message) {
    struct board* board = &boards[message->spi->chip_select];
    struct spi_transfer* transfer;
    int result = 0;
    u32 at = 0;

    mutex_lock(&board->lock);
    board->head = (struct rig_transaction){.bus = RIG_SPI};
    list_for_each_entry(transfer, &message->transfers, transfer_list) {
        const u32 ways = (transfer->rx_buf ? RIG_IN : 0) | (transfer->tx_buf ? RIG_OUT : 0);

        if (result == 0) result = add_phase(board, transfer->len, ways, transfer->tx_buf);
    }
    if (result == 0) result = ask(board);
    if (result >= 0) {
        list_for_each_entry(transfer, &message->transfers, transfer_list) if (transfer->rx_buf)
            take(board, &at, transfer->rx_buf, transfer->len);
        message->actual_length = board->outcome.bytes;
        result = 0;
    }
    mutex_unlock(&board->lock);
    message->status = result;
    spi_finalize_current_message(controller);
    return result;
}

static struct board* board_of(struct file* file) {
    return container_of(file->private_data, struct board, device);
}

static ssize_t hand_out(struct board* board, char __user* buffer, size_t size) {
    const size_t phaseBytes = board->head.phases * sizeof(board->phases[0]);

    if (size < sizeof(board->head) + phaseBytes + board->head.outBytes) return -EMSGSIZE;
    WRITE_ONCE(board->stage, TAKEN);
    if (copy_to_user(buffer, &board->head, sizeof(board->head))) return -EFAULT;
    buffer += sizeof(board->head);
    if (copy_to_user(buffer, board->phases, phaseBytes)) return -EFAULT;
    if (copy_to_user(buffer + phaseBytes, board->out, board->head.outBytes)) return -EFAULT;
    return sizeof(board->head) + phaseBytes + board->head.outBytes;
}

static ssize_t process_reads(struct file* file, char __user* buffer, size_t size, loff_t* offset) {
    struct board* board = board_of(file);
    ssize_t result = 0;

    while (result == 0) {
        if (wait_event_interruptible(board->offered, READ_ONCE(board->stage) == OFFERED)) return -ERESTARTSYS;
        mutex_lock(&board->handover);
        if (board->stage == OFFERED)
            result = hand_out(board, buffer, size); // or whoever asked has been killed meanwhile
        mutex_unlock(&board->handover);
    }
    return result;
}

static ssize_t take_answer(struct board* board, const char __user* buffer, size_t size) {
    const size_t head = sizeof(board->outcome);

    if (size < head || size > head + MAX_BYTES) return -EINVAL;
    if (board->stage != TAKEN) return -EINVAL; // whoever asked has been killed meanwhile
    if (copy_from_user(&board->outcome, buffer, head)) return -EFAULT;
    if (copy_from_user(board->in, buffer + head, size - head)) return -EFAULT;
    board->inBytes = size - head;
    complete(&board->answered);
    return size;
}

static ssize_t process_answers(struct file* file, const char __user* buffer, size_t size, loff_t* offset) {
    struct board* board = board_of(file);
    ssize_t result;

    mutex_lock(&board->handover);
    result = take_answer(board, buffer, size);
    mutex_unlock(&board->handover);
    return result;
}

static int process_comes(struct inode* inode, struct file* file) {
    atomic_inc(&board_of(file)->processes);
    return 0;
}

static int process_goes(struct inode* inode, struct file* file) {
    atomic_dec(&board_of(file)->processes);
    return 0;
}

static const struct file_operations process_file = {
    .owner = THIS_MODULE,
    .read = process_reads,
    .write = process_answers,
    .open = process_comes,
    .release = process_goes,
};

static int add_i2c(struct board* board, int number, const char* name) {
    board->adapter.owner = THIS_MODULE;
    board->adapter.algo = &i2c_rig;
    board->adapter.nr = number;
    strscpy(board->adapter.name, name, sizeof(board->adapter.name));
    i2c_set_adapdata(&board->adapter, board);
    return i2c_add_numbered_adapter(&board->adapter);
}

static int add_board(struct board* board, int number, const char* name) {
    int result;

    mutex_init(&board->lock);
    mutex_init(&board->handover);
    init_completion(&board->answered);
    init_waitqueue_head(&board->offered);
    board->device = (struct miscdevice){.minor = MISC_DYNAMIC_MINOR, .name = name, .fops = &process_file};
    result = misc_register(&board->device);
    return result ? result : add_i2c(board, number, name);
}

static int add_spi(struct device* parent) {
    struct spi_controller* controller = spi_alloc_master(parent, 0);
    int result;
    u16 i;

    if (!controller) return -ENOMEM;
    controller->bus_num = 0;
    controller->num_chipselect = ARRAY_SIZE(boards);
    controller->mode_bits = SPI_CPOL | SPI_CPHA | SPI_CS_HIGH | SPI_LSB_FIRST;
    controller->bits_per_word_mask = SPI_BPW_MASK(8) | SPI_BPW_MASK(16) | SPI_BPW_MASK(32);
    controller->max_speed_hz = 25000000;
    controller->transfer_one_message = spi_transfer_rig;
    result = spi_register_controller(controller);
    for (i = 0; result == 0 && i < ARRAY_SIZE(boards); i++) {
        // One of the names that spidev takes.
        struct spi_board_info chip = {.modalias = "spi-petra", .max_speed_hz = 25000000, .chip_select = i};

        if (!spi_new_device(controller, &chip)) result = -ENODEV;
    }
    return result;
}

static int __init rigbus_init(void) {
    static const char* const names[] = {"rigbus0", "rigbus1"};
    struct platform_device* parent;
    int result = 0;
    int i;

    for (i = 0; result == 0 && i < ARRAY_SIZE(boards); i++) result = add_board(&boards[i], i + 1, names[i]);
    if (result) return result;
    parent = platform_device_register_simple("rigbus", PLATFORM_DEVID_NONE, NULL, 0);
    return IS_ERR(parent) ? PTR_ERR(parent) : add_spi(&parent->dev);
}
module_init(rigbus_init);
MODULE_LICENSE("GPL");
MODULE_DESCRIPTION("I2C and SPI buses whose slaves are a user process");
