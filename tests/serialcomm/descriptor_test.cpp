// Ownership of a descriptor, by what the kernel says of its number.
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <serialcomm/Descriptor.h>

using serialcomm::Descriptor;

namespace {

// Closes what a failed test has left open.
class DescriptorTest : public testing::Test {
protected:
    ~DescriptorTest() override {
        for (const int fd : {first, second}) {
            if (isOpen(fd)) ::close(fd);
        }
    }
    static bool isOpen(int fd) { return ::fcntl(fd, F_GETFD) != -1; }

    const int first = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    const int second = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
};

} // namespace

TEST_F(DescriptorTest, ClosesWhatItOwnsInTheEnd) {
    {
        const Descriptor owner(first);
        EXPECT_TRUE(isOpen(first));
    }
    EXPECT_FALSE(isOpen(first));
}

TEST_F(DescriptorTest, OwnsNothingOnceMovedFrom) {
    Descriptor source(first);
    {
        const Descriptor target(std::move(source));
        EXPECT_EQ(target.get(), first);
        EXPECT_FALSE(source); // NOLINT(bugprone-use-after-move): its state is what is tested
        EXPECT_EQ(source.get(), -1);
    }
    EXPECT_FALSE(isOpen(first));
}

TEST_F(DescriptorTest, ClosesItsOldOneWhenAnotherIsAssignedAndLeavesTheSourceNothing) {
    Descriptor target(first);
    {
        Descriptor source(second);
        target = std::move(source);
        EXPECT_FALSE(source); // NOLINT(bugprone-use-after-move): its state is what is tested
        EXPECT_EQ(source.get(), -1);
    }
    EXPECT_FALSE(isOpen(first));
    EXPECT_TRUE(isOpen(second)) << "the source has gone and taken nothing along";
    EXPECT_EQ(target.get(), second);
    target.reset();
    EXPECT_FALSE(isOpen(second));
    EXPECT_FALSE(target);
}

TEST_F(DescriptorTest, KeepsItsOwnWhenAssignedToItself) {
    Descriptor owner(first);
    Descriptor& alias = owner;
    owner = std::move(alias);
    EXPECT_EQ(owner.get(), first);
    EXPECT_TRUE(isOpen(first));
}
