// How programs are run inside the rig, seen from outside.

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <optional>
#include <sstream>

#include <sys/wait.h>

#include "RawCalls.h"

namespace {

constexpr int skipped = 77;

/// A process and what it and everything it started write to one pipe.
class Process {
public:
    explicit Process(const std::vector<std::string>& words) {
        int ends[2];
        if (pipe(ends) != 0) abort();
        output = ends[0];
        process = fork();
        if (process != 0) {
            close(ends[1]);
            return;
        }
        dup2(ends[1], STDOUT_FILENO);
        dup2(ends[1], STDERR_FILENO);
        close(ends[0]);
        close(ends[1]);
        std::vector<char*> arguments;
        arguments.reserve(words.size() + 1);
        for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
        arguments.push_back(nullptr);
        execvp(arguments[0], arguments.data());
        _exit(127);
    }
    /// Takes what is said until the end. Only what does not end is killed: a rig killed while it ends loses what it has
    /// to tell, the counters of a coverage build for one.
    ~Process() {
        if (!ended && !waitForEnd()) kill(process, SIGKILL);
        exitCode();
        close(output);
    }
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    void signal(int number) const { kill(process, number); }

    /// As a shell gives it.
    int exitCode() {
        int status = 0;
        if (!ended && waitpid(process, &status, 0) == process) {
            ended = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        }
        return *ended;
    }

    /// Until the text comes; false when the output ends before, or after a very generous time.
    bool waitForOutput(const std::string& text) {
        while (seen.find(text) == std::string::npos) {
            if (!readMore()) return false;
        }
        return true;
    }

    /// Until nobody can write to the pipe any more; false when somebody still can after a very generous time.
    bool waitForEnd() {
        while (readMore()) {
        }
        return atEnd;
    }
    const std::string& text() const { return seen; }

private:
    bool readMore() {
        char buffer[4096];
        if (raw::waitForEvent(output, POLLIN) == 0) return false;
        const ssize_t count = read(output, buffer, sizeof buffer);
        atEnd = count == 0;
        if (count > 0) seen.append(buffer, static_cast<size_t>(count));
        return count > 0;
    }

    pid_t process;
    int output;
    bool atEnd = false;
    std::string seen;
    std::optional<int> ended;
};

std::string mounts() {
    std::ostringstream text;
    text << std::ifstream("/proc/self/mountinfo").rdbuf();
    return text.str();
}

class Sandbox : public ::testing::Test {
protected:
    void SetUp() override {
        Process probe(inRig({"true"}));
        if (probe.exitCode() == skipped) {
            probe.waitForEnd();
            GTEST_SKIP() << probe.text();
        }
    }
    static std::vector<std::string> inRig(const std::vector<std::string>& words,
                                          const std::vector<std::string>& options = {"--quiet"}) {
        std::vector<std::string> all{ZENT_RUN_IN_RIG, "--busrig", ZENT_BUSRIG};
        all.insert(all.end(), options.begin(), options.end());
        all.insert(all.end(), words.begin(), words.end());
        return all;
    }
    static std::vector<std::string> shell(const std::string& script) { return inRig({"sh", "-c", script}); }

    const std::string mountsBefore = mounts();
};

TEST_F(Sandbox, PassesTheExitCodeOn) {
    EXPECT_EQ(Process(shell("exit 0")).exitCode(), 0);
    EXPECT_EQ(Process(shell("exit 42")).exitCode(), 42);
    EXPECT_EQ(Process(shell("kill -TERM $$")).exitCode(), 128 + SIGTERM);
    EXPECT_EQ(Process(inRig({"/no/such/program"})).exitCode(), 127);
}

TEST_F(Sandbox, PassesArgumentsOnAsTheyAre) {
    Process process(inRig({"printf", "<%s>", "a b", "", "--quiet", "-x"}));
    EXPECT_TRUE(process.waitForOutput("<a b><><--quiet><-x>"));
}

TEST_F(Sandbox, PassesTheStandardInputOn) {
    Process process(
        {"sh", "-c", "echo hello | \"$@\"", "sh", ZENT_RUN_IN_RIG, "--busrig", ZENT_BUSRIG, "--quiet", "cat"});
    EXPECT_TRUE(process.waitForOutput("hello"));
}

TEST_F(Sandbox, SaysWhatIsWhere) {
    Process process(inRig({"true"}, {}));
    EXPECT_TRUE(process.waitForOutput("board 1: GPIO line 17, /dev/i2c-1 address 0x42, /dev/spidev0.0"));
}

TEST_F(Sandbox, RefusesHostOptionsItDoesNotKnow) {
    Process process(inRig({"true"}, {"--host-options", "nonsense=1"}));
    EXPECT_TRUE(process.waitForOutput("no such host option: nonsense"));
    EXPECT_NE(process.exitCode(), 0);
    EXPECT_NE(process.exitCode(), skipped);
}

TEST_F(Sandbox, ShowsDevicesAndGivesPseudoTerminals) {
    Process process(shell("ls /dev /dev/pts /sys/class/gpio; cat /sys/class/tty/tty/dev; : > /dev/null; "
                          "exec 3<>/dev/ptmx && ls /dev/pts/0"));
    for (const char* name : {"i2c-1", "i2c-2", "spidev0.0", "spidev0.1", "export", "unexport", "5:0", "/dev/pts/0"}) {
        EXPECT_TRUE(process.waitForOutput(name)) << name;
    }
}

TEST_F(Sandbox, LeavesNothingWhenTheCommandEnds) {
    // What the command has left behind goes, too: the pipe has no writer any more.
    Process process(shell("sleep 1000 & exit 3"));
    EXPECT_EQ(process.exitCode(), 3);
    EXPECT_TRUE(process.waitForEnd());
    EXPECT_EQ(mounts(), mountsBefore);
}

TEST_F(Sandbox, DoesNotPassForGoodWhenTheRigDies) {
    Process process(shell("kill -KILL 2")); // the rig is the second process of its namespace
    EXPECT_EQ(process.exitCode(), 70);
    EXPECT_TRUE(process.waitForOutput("ended with exit code 137"));
}

class KilledSandbox : public Sandbox, public ::testing::WithParamInterface<int> {};

INSTANTIATE_TEST_SUITE_P(Signals, KilledSandbox, ::testing::Values(SIGKILL, SIGTERM, SIGHUP));

TEST_P(KilledSandbox, LeavesNothing) {
    Process process(shell("trap '' TERM HUP; exec 3<>/dev/i2c-1; echo 17 > /sys/class/gpio/export; echo ready; "
                          "while :; do sleep 1000; done"));
    ASSERT_TRUE(process.waitForOutput("ready"));
    process.signal(GetParam());
    EXPECT_EQ(process.exitCode(), 128 + GetParam());
    EXPECT_TRUE(process.waitForEnd());
    EXPECT_EQ(mounts(), mountsBefore);
}

TEST_F(Sandbox, RunsBesideOthers) {
    Process first(
        shell("echo 17 > /sys/class/gpio/export; echo ready; cat /sys/class/gpio/gpio17/value; exec sleep 1000"));
    ASSERT_TRUE(first.waitForOutput("ready"));
    Process second(shell("ls /sys/class/gpio; echo 17 > /sys/class/gpio/export && echo mine"));
    EXPECT_TRUE(second.waitForOutput("mine"));
    EXPECT_EQ(second.text().find("gpio17"), std::string::npos);
    first.signal(SIGKILL);
}

TEST(SandboxWithoutFuse, IsSkippedWithTheReason) {
    setenv("ZENT_RIG_FUSE_NODE", "/no/such/node", 1);
    Process process({ZENT_RUN_IN_RIG, "--busrig", ZENT_BUSRIG, "--quiet", "true"});
    unsetenv("ZENT_RIG_FUSE_NODE");
    EXPECT_TRUE(process.waitForOutput("the bus rig cannot run here: open /no/such/node: No such file or directory"));
    EXPECT_EQ(process.exitCode(), skipped);
}

TEST(SandboxWithoutRig, IsAnErrorWhenTheRigWasNamed) {
    Process process({ZENT_RUN_IN_RIG, "--busrig", "/no/such/program", "true"});
    EXPECT_TRUE(process.waitForOutput("no program /no/such/program"));
    EXPECT_EQ(process.exitCode(), 2);
}

} // namespace
