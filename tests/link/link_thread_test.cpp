#include <csignal>
#include <thread>

#include <gtest/gtest.h>

#include <hostlink/link/LinkThread.h>

namespace {

sigset_t currentMask() {
    sigset_t mask;
    pthread_sigmask(SIG_BLOCK, nullptr, &mask);
    return mask;
}

// Notes what is blocked where it is moved last: in the thread that starts the other.
class Body {
public:
    Body(bool* starterBlocks, bool* threadBlocks) : starter(starterBlocks), thread(threadBlocks) {}
    Body(Body&& other) noexcept : starter(other.starter), thread(other.thread) { *starter = blocksTermination(); }
    void operator()() const { *thread = blocksTermination(); }

private:
    static bool blocksTermination() {
        const sigset_t mask = currentMask();
        return sigismember(&mask, SIGTERM) == 1;
    }
    bool* starter;
    bool* thread;
};

TEST(LinkThread, IsBornWithSignalsBlocked) {
    bool starterBlocks = false;
    bool threadBlocks = false;
    startLinkThread(Body(&starterBlocks, &threadBlocks)).join();
    EXPECT_TRUE(threadBlocks);
    EXPECT_TRUE(starterBlocks); // so the thread has it from its first instruction on
}

TEST(LinkThread, LeavesTheStartersMaskAsItWas) {
    for (const int how : {SIG_UNBLOCK, SIG_BLOCK}) {
        sigset_t one;
        sigemptyset(&one);
        sigaddset(&one, SIGUSR2);
        sigset_t atFirst;
        pthread_sigmask(how, &one, &atFirst);
        startLinkThread([] {}).join();
        const sigset_t after = currentMask();
        EXPECT_EQ(sigismember(&after, SIGUSR2), how == SIG_BLOCK ? 1 : 0);
        EXPECT_EQ(sigismember(&after, SIGTERM), 0);
        EXPECT_EQ(sigismember(&after, SIGSEGV), 0);
        pthread_sigmask(SIG_SETMASK, &atFirst, nullptr);
    }
}

TEST(LinkThread, TakesWhatItRaisesItself) {
    sigset_t inside;
    startLinkThread([&] { inside = currentMask(); }).join();
    for (const int own : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS, SIGABRT}) {
        EXPECT_EQ(sigismember(&inside, own), 0) << own;
    }
    for (const int sent : {SIGTERM, SIGINT, SIGHUP, SIGUSR1, SIGPIPE, SIGCHLD, SIGALRM}) {
        EXPECT_EQ(sigismember(&inside, sent), 1) << sent;
    }
}

} // namespace
