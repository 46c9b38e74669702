#include <fcntl.h>
#include <gtest/gtest.h>

#include "Rix/FileDescriptor.h"

namespace {

int openNull() {
    return ::open("/dev/null", O_RDONLY | O_CLOEXEC);
}

bool isOpen(int number) {
    return ::fcntl(number, F_GETFD) >= 0;
}

TEST(FileDescriptor, IsClosedWhenItsOwnerGoes) {
    const int number = openNull();
    {
        const Rix::FileDescriptor file(number);
        EXPECT_TRUE(file.isOpen());
        EXPECT_EQ(file.number(), number);
    }
    EXPECT_FALSE(isOpen(number));
}

TEST(FileDescriptor, IsNoFileBeforeItHasOneAndIfThereIsNone) {
    EXPECT_FALSE(Rix::FileDescriptor().isOpen());
    EXPECT_FALSE(Rix::FileDescriptor(::open("/nowhere/at/all", O_RDONLY)).isOpen());
}

TEST(FileDescriptor, HasOneOwnerAtATime) {
    const int number = openNull();
    Rix::FileDescriptor later;
    {
        Rix::FileDescriptor first(number);
        Rix::FileDescriptor second(std::move(first));
        later = std::move(second);
    }
    EXPECT_TRUE(isOpen(number));
    EXPECT_EQ(later.number(), number);
    later = Rix::FileDescriptor();
    EXPECT_FALSE(isOpen(number));
}

}  // namespace
