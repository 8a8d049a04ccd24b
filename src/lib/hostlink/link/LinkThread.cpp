#include "LinkThread.h"

SignalsBlocked::SignalsBlocked() {
    sigset_t all;
    sigfillset(&all);
    // Blocked, these would end the process without a handler's word, or be lost.
    for (const int own : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT}) sigdelset(&all, own);
    pthread_sigmask(SIG_SETMASK, &all, &before);
}

SignalsBlocked::~SignalsBlocked() {
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}
