/// @file
/// The C side of the test that uses the host's engine from C99: each function returns null, or what went wrong.
#ifndef C99_HOST_TEST_H
#define C99_HOST_TEST_H

#ifdef __cplusplus
extern "C" {
#endif

const char* c99HoldsAConversationOnASerialLine(void);
const char* c99HoldsAConversationOnABus(void);

#ifdef __cplusplus
}
#endif

#endif
