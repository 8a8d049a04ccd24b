/// @file
/// The C side of the test that uses the function core from C99: each function returns null, or what went wrong.
#ifndef C99_HEADER_TEST_H
#define C99_HEADER_TEST_H

#ifdef __cplusplus
extern "C" {
#endif

const char* c99WritesAResponseFrame(void);
const char* c99BuildsAndReadsAMessage(void);
const char* c99GathersAFrame(void);
const char* c99ComputesAChecksum(void);

#ifdef __cplusplus
}
#endif

#endif
