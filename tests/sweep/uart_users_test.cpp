// Who else uses a serial port.
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include <serialcomm/Uart.h>

#include "FaultTest.h"
#include "PlayedTerminal.h"
#include "support/Pty.h"

using namespace sweep;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace {

// A pty that says it is ttyS1, and folders in place of /proc and /sys/dev.
class PlayedPort : public PlayedTerminal {
public:
    PlayedPort() {
        std::string name = (std::filesystem::temp_directory_path() / "playedportXXXXXX").string();
        if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder");
        top = name;
        std::filesystem::create_directories(top / "proc" / "sys");
    }
    ~PlayedPort() override {
        std::error_code ignored;
        std::filesystem::remove_all(top, ignored);
    }

    Answer fstat(int /*fd*/, struct stat* status) override {
        if (fstatError != 0) return -fstatError;
        *status = {};
        status->st_rdev = makedev(device, 65);
        return 0;
    }
    std::string folder(const char* path) override {
        return path == std::string("/proc") ? (top / procName).string() : std::string();
    }
    Answer open(const char* path, int flags) override {
        if (path != std::string("/sys/dev/char/4:65/console")) return {};
        if (console.empty()) return -ENOENT;
        std::ofstream(top / "console") << console;
        return ::open((top / "console").c_str(), flags);
    }

    /// A process of that number and name that has these files open.
    void addProcess(const std::string& number, const std::string& name, const std::vector<std::string>& files) const {
        std::filesystem::create_directories(top / "proc" / number / "fd");
        if (!name.empty()) std::ofstream(top / "proc" / number / "comm") << name << "\n";
        for (std::size_t i = 0; i < files.size(); ++i)
            std::filesystem::create_symlink(files[i], top / "proc" / number / "fd" / std::to_string(i));
    }

    std::filesystem::path top;
    std::string procName = "proc";
    std::string console = "N\n"; // what the driver tells; empty: it does not
    unsigned device = 4;         // of serial ports of the 8250's kind
    int fstatError = 0;
};

class UartUsers : public FaultTest<PlayedPort> {
protected:
    UartUsers() : FaultTest("SerialComm") {}

    std::vector<std::string> told(bool alone = true) {
        log.clear();
        underTest([&] {
            Uart uart(pty.slavePath(), 115200, 0, "none", alone);
            EXPECT_TRUE(uart.init());
        });
        return log.texts(log4cplus::WARN_LOG_LEVEL);
    }
    std::string openIn(const std::string& process) const {
        return "Uart " + pty.slavePath() + ": is also open in " + process +
               ", which takes bytes from the far side and may send it others; end that program (a getty: systemctl "
               "disable --now serial-getty@ with the port's name)";
    }

    Pty pty;
};

TEST_F(UartUsers, NobodyElseIsNotTold) {
    kernel.addProcess("1", "init", {"/dev/null", "/dev/pts/4711"});
    EXPECT_THAT(told(), IsEmpty());
}

TEST_F(UartUsers, ProgramThatHasThePortOpenIsNamed) {
    kernel.addProcess("1", "init", {"/dev/null"});
    kernel.addProcess("133", "getty", {"/dev/null", pty.slavePath(), pty.slavePath()});
    EXPECT_THAT(told(), ElementsAre(openIn("getty (133)")));
    EXPECT_THAT(log.texts(log4cplus::ERROR_LOG_LEVEL), IsEmpty());
}

TEST_F(UartUsers, ProgramWhoseNameCannotBeReadIsToldAllTheSame) {
    kernel.addProcess("133", "", {pty.slavePath()});
    EXPECT_THAT(told(), ElementsAre(openIn("process (133)")));
}

TEST_F(UartUsers, ThreeAreNamedAtMost) {
    kernel.addProcess("133", "getty", {pty.slavePath()});
    kernel.addProcess("134", "mmanager", {pty.slavePath()});
    EXPECT_THAT(told(), UnorderedElementsAre(openIn("getty (133)"), openIn("mmanager (134)")));
    kernel.addProcess("135", "cat", {pty.slavePath()});
    kernel.addProcess("136", "cat", {pty.slavePath()});
    EXPECT_EQ(told().size(), 3U);
}

TEST_F(UartUsers, ThisProcessIsNotAnother) {
    kernel.addProcess(std::to_string(::getpid()), "sweep_tests", {pty.slavePath()});
    EXPECT_THAT(told(), IsEmpty());
}

TEST_F(UartUsers, ProcessThatMayNotBeLookedIntoIsPassedOver) {
    std::filesystem::create_directories(kernel.top / "proc" / "132"); // no fd folder, as for somebody else's
    kernel.addProcess("133", "getty", {pty.slavePath()});
    EXPECT_THAT(told(), ElementsAre(openIn("getty (133)")));
}

TEST_F(UartUsers, KernelsConsoleIsTold) {
    kernel.console = "Y\n";
    EXPECT_THAT(told(),
                ElementsAre("Uart " + pty.slavePath() +
                            ": is a console of the kernel (console= on its command line): the far side gets its "
                            "messages"));
}

TEST_F(UartUsers, DriverThatDoesNotTellOfAConsoleHasNone) {
    kernel.console = "";
    EXPECT_THAT(told(), IsEmpty());
}

TEST_F(UartUsers, WhatCannotBeLookedAtIsPassedOver) {
    kernel.addProcess("133", "getty", {pty.slavePath()});
    kernel.procName = "nonexistent";
    EXPECT_THAT(told(), IsEmpty());
    kernel.procName = "proc";
    kernel.fstatError = EIO;
    EXPECT_THAT(told(), IsEmpty());
}

// Whoever opens a pseudo terminal, or a port that is to be shared, means it.
TEST_F(UartUsers, PseudoTerminalsAndSharedPortsAreNotLookedAt) {
    kernel.addProcess("133", "getty", {pty.slavePath()});
    EXPECT_THAT(told(false), IsEmpty());
    for (const unsigned pseudo : {136U, 143U}) {
        kernel.device = pseudo;
        EXPECT_THAT(told(), IsEmpty());
    }
    for (const unsigned real : {135U, 144U}) {
        kernel.device = real;
        EXPECT_THAT(told(), ElementsAre(openIn("getty (133)")));
    }
}

} // namespace
