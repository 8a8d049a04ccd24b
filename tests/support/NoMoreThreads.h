/// @file
/// A process that can start no thread.
#pragma once

#include <cstddef>

#include <pthread.h>

#include <gtest/gtest.h>

/// As long as it lives, std::thread fails with EAGAIN: the kernel has no room for the stack that a thread would get.
/// Whatever else starts threads meanwhile fails too, so a test makes everything else first.
class NoMoreThreads {
public:
    NoMoreThreads() {
        constexpr size_t tooLarge = size_t{1} << 60; // bytes, more than any process can address
        pthread_attr_t huge;
        EXPECT_EQ(pthread_getattr_default_np(&usual), 0);
        EXPECT_EQ(pthread_getattr_default_np(&huge), 0);
        EXPECT_EQ(pthread_attr_setstacksize(&huge, tooLarge), 0);
        EXPECT_EQ(pthread_setattr_default_np(&huge), 0);
        pthread_attr_destroy(&huge);
    }
    NoMoreThreads(const NoMoreThreads&) = delete;
    NoMoreThreads& operator=(const NoMoreThreads&) = delete;
    ~NoMoreThreads() {
        EXPECT_EQ(pthread_setattr_default_np(&usual), 0);
        pthread_attr_destroy(&usual);
    }

private:
    pthread_attr_t usual;
};
