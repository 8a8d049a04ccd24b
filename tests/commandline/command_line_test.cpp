// Options and commands of a program: what they take, what they refuse, and what they tell of themselves.
#include <gtest/gtest.h>

#include <commandline/CommandLine.h>

using commandline::Command;
using commandline::CommandLine;
using commandline::OptionRow;
using commandline::Wrong;

namespace {

/// What is wrong with these words; empty: nothing.
std::string refusal(CommandLine& line, const std::vector<std::string>& words) {
    try {
        line.take(words);
        return "";
    } catch (const Wrong& wrong) {
        return wrong.what();
    }
}

} // namespace

TEST(CommandLine, FillsInValuesOfEachType) {
    std::string text;
    int number = 0;
    unsigned short small = 0;
    unsigned count = 0;
    long from = 0;
    unsigned long large = 0;
    double rate = 0;
    std::optional<std::string> maybe;
    std::optional<int> maybeNumber;
    std::vector<std::string> words;
    bool said = false;
    std::optional<bool> maybeSaid;
    CommandLine line;
    line.option("--text", text, "");
    line.option("--number", number, "");
    line.option("--small", small, "");
    line.option("--count", count, "");
    line.option("--from", from, "");
    line.option("--large", large, "");
    line.option("--rate", rate, "");
    line.option("--maybe", maybe, "");
    line.option("--maybe-number", maybeNumber, "");
    line.flag("--said,-s", said, "");
    line.flag("--maybe-said", maybeSaid, "");
    line.option("WORDS", words, "");
    EXPECT_EQ(refusal(line, {"--text=a b", "--number", "-5", "--small=65535", "--count=4294967295", "--from=-7", "-s",
                             "--large=18446744073709551615", "--rate=0.25", "--maybe=x", "--maybe-number=0x42",
                             "--maybe-said", "one", "two"}),
              "");
    EXPECT_EQ(text, "a b");
    EXPECT_EQ(number, -5);
    EXPECT_EQ(small, 65535);
    EXPECT_EQ(count, 4294967295U);
    EXPECT_EQ(from, -7);
    EXPECT_EQ(large, 18446744073709551615UL);
    EXPECT_EQ(rate, 0.25);
    EXPECT_EQ(maybe, "x");
    EXPECT_EQ(maybeNumber, 0x42);
    EXPECT_EQ(words, (std::vector<std::string>{"one", "two"}));
    EXPECT_TRUE(said);
    EXPECT_EQ(maybeSaid, true);
}

TEST(CommandLine, LeavesWhatIsNotSaidAsItIs) {
    std::string text = "usual";
    std::optional<int> number;
    bool said = false;
    CommandLine line;
    line.option("--text", text, "");
    line.option("--number", number, "");
    line.flag("--said", said, "");
    EXPECT_EQ(refusal(line, {}), "");
    EXPECT_EQ(text, "usual");
    EXPECT_FALSE(number);
    EXPECT_FALSE(said);
}

TEST(CommandLine, RefusesWhatAnOptionDoesNotTake) {
    int range = 0;
    int positive = 0;
    int notNegative = 0;
    std::string word;
    std::string path;
    std::string even;
    CommandLine line;
    line.option("--range", range, "").range(2, 5);
    line.option("--positive", positive, "").positive();
    line.option("--not-negative", notNegative, "").notNegative();
    line.option("--word", word, "").oneOf({"none", "all"});
    line.option("--file", path, "").existingFile();
    line.option("--folder", path, "").existingFolder();
    line.option("--even", even, "").check([](const std::string& text) {
        return text.size() % 2 == 0 ? "" : "'" + text + "' is odd";
    });
    EXPECT_EQ(refusal(line, {"--range=2"}), "");
    EXPECT_EQ(refusal(line, {"--range=5"}), "");
    EXPECT_EQ(refusal(line, {"--range=6"}), "--range: Value 6 not in range 2 to 5");
    EXPECT_EQ(refusal(line, {"--range=1"}), "--range: Value 1 not in range 2 to 5");
    EXPECT_EQ(refusal(line, {"--positive=1"}), "");
    EXPECT_NE(refusal(line, {"--positive=0"}), "");
    EXPECT_EQ(refusal(line, {"--not-negative=0"}), "");
    EXPECT_NE(refusal(line, {"--not-negative=-1"}), "");
    EXPECT_EQ(refusal(line, {"--word=all"}), "");
    EXPECT_EQ(refusal(line, {"--word=some"}), "--word: some not in {none,all}");
    EXPECT_EQ(refusal(line, {"--file=/proc/self/exe", "--folder=/proc"}), "");
    EXPECT_EQ(refusal(line, {"--file=/proc"}), "--file: File is actually a directory: /proc");
    EXPECT_EQ(refusal(line, {"--folder=/proc/self/exe"}), "--folder: Directory is actually a file: /proc/self/exe");
    EXPECT_EQ(refusal(line, {"--even=ab"}), "");
    EXPECT_EQ(refusal(line, {"--even=abc"}), "--even: 'abc' is odd");
    EXPECT_EQ(refusal(line, {"--range=x"}), "--range: Value x not in range 2 to 5");
    EXPECT_EQ(refusal(line, {"--other"}), "The following argument was not expected: --other");
}

TEST(CommandLine, KnowsWhatGoesTogether) {
    std::string text;
    std::vector<std::string> two;
    std::vector<std::string> names;
    const auto make = [&](CommandLine& line) {
        const auto uart = line.option("--uart", text, "");
        line.option("--i2c", text, "").excludes(uart);
        const auto chip = line.option("--chip", text, "");
        line.option("--line", text, "").needs(chip);
        line.option("--two", two, "").arguments(2);
        line.option("--name", names, "").repeatable();
    };
    const auto said = [&](const std::vector<std::string>& words) {
        CommandLine line;
        make(line);
        return refusal(line, words);
    };
    EXPECT_EQ(said({"--uart=a", "--chip=b", "--line=c", "--two", "d", "e", "--name=f", "--name=g"}), "");
    EXPECT_EQ(two, (std::vector<std::string>{"d", "e"}));
    EXPECT_EQ(names, (std::vector<std::string>{"f", "g"}));
    EXPECT_EQ(said({"--uart=a", "--i2c=b"}), "--uart excludes --i2c");
    EXPECT_EQ(said({"--line=a"}), "--line requires --chip");
    EXPECT_NE(said({"--two", "a"}), "");
    CommandLine line;
    line.option("FILE", text, "").required();
    EXPECT_EQ(refusal(line, {}), "FILE is required");
}

TEST(CommandLine, HandsValuesToAFunction) {
    int seconds = 0;
    unsigned long count = 0;
    double rate = 0;
    std::vector<std::string> all;
    CommandLine line;
    line.option<int>(
        "--seconds", [&](const int& value) { seconds = value; }, "");
    line.option<unsigned long>(
        "--count", [&](const unsigned long& value) { count = value; }, "");
    line.option<double>(
        "--rate", [&](const double& value) { rate = value; }, "");
    line.option<std::vector<std::string>>(
            "--state",
            [&](const std::vector<std::string>& values) {
                if (values.front() == "bad") throw Wrong("'bad' is none");
                all = values;
            },
            "")
        .repeatable();
    bool read = false;
    line.whenRead([&] { read = seconds == 3; });
    EXPECT_EQ(refusal(line, {"--seconds=3", "--count=4", "--rate=0.5", "--state=a", "--state=b"}), "");
    EXPECT_EQ(seconds, 3);
    EXPECT_EQ(count, 4U);
    EXPECT_EQ(rate, 0.5);
    EXPECT_EQ(all, (std::vector<std::string>{"a", "b"}));
    EXPECT_TRUE(read) << "called when all is filled in";
    EXPECT_EQ(refusal(line, {"--state=bad"}), "--state: 'bad' is none");
}

TEST(CommandLine, CallsTheCommandThatWasGiven) {
    bool json = false;
    std::string file;
    std::string called;
    CommandLine line("Does things.");
    line.flag("--json", json, "");
    line.needsCommand(true);
    const Command send = line.command("send", "Send it");
    send.option("FILE", file, "").required();
    send.whenGiven([&] { called += "send " + file; });
    const Command other = line.command("other", "Do something else");
    other.whenGiven([&] { called += "other"; });
    EXPECT_EQ(refusal(line, {"send", "x", "--json"}), "");
    EXPECT_EQ(called, "send x");
    EXPECT_TRUE(json) << "the program's own, behind the command";
    EXPECT_TRUE(send.isGiven());
    EXPECT_FALSE(other.isGiven());
    EXPECT_EQ(refusal(line, {}), "A subcommand is required");
}

TEST(CommandLine, TellsOfItsOptionsAndCommands) {
    int number = 5;
    bool said = false;
    std::string word;
    std::vector<std::string> words;
    CommandLine line("Does things.");
    line.footer("The end.");
    line.option("--number", number, "How many").argument("N").positive().showPreset();
    line.option("--word", word, "Which").argument("WORD").oneOf({"a", "b"});
    line.flag("--said,-s", said, "Whether");
    line.command("get", "Get it").option("STATE", words, "Names").plain();
    line.command("manual", "Of it").hidden();
    EXPECT_EQ(line.text(), "Does things.");
    EXPECT_EQ(line.footer(), "The end.");
    const std::vector<OptionRow> options = line.options();
    ASSERT_EQ(options.size(), 3U);
    EXPECT_EQ(options[0].name, "--number");
    EXPECT_EQ(options[0].argument, "N");
    EXPECT_EQ(options[0].text, "How many");
    EXPECT_EQ(options[0].preset, "5");
    EXPECT_FALSE(options[0].positional || options[0].isFlag || options[0].repeats);
    EXPECT_EQ(options[1].words, (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(options[1].preset, "");
    EXPECT_EQ(options[2].name, "--said");
    EXPECT_TRUE(options[2].isFlag);
    EXPECT_EQ(options[2].argument, "");
    const auto commands = line.commands();
    ASSERT_EQ(commands.size(), 1U) << "the hidden one is not listed";
    EXPECT_EQ(commands[0].name, "get");
    EXPECT_EQ(commands[0].text, "Get it");
    ASSERT_EQ(commands[0].options.size(), 1U);
    EXPECT_EQ(commands[0].options[0].name, "STATE");
    EXPECT_TRUE(commands[0].options[0].positional && commands[0].options[0].repeats);
}

TEST(CommandLine, EndsAProgramThatIsAskedForHelpOrCalledWrongly) {
    int number = 0;
    CommandLine line("Does things.");
    line.columnWidth(12);
    line.option("--number", number, "How many").argument("N").group("Figures");
    line.footer("The end.");
    const char* good[] = {"program", "--number", "7"};
    EXPECT_EQ(line.read(3, good), std::nullopt);
    EXPECT_EQ(number, 7);
    testing::internal::CaptureStdout();
    const char* help[] = {"program", "--help"};
    EXPECT_EQ(line.read(2, help), 0);
    const std::string text = testing::internal::GetCapturedStdout();
    for (const char* part : {"Does things.\n", "Figures:\n  --number N\n            How many\n", "The end.\n"})
        EXPECT_NE(text.find(part), std::string::npos) << part << "\nis not in\n" << text;
    testing::internal::CaptureStderr();
    const char* bad[] = {"program", "--number", "x"};
    EXPECT_EQ(line.read(3, bad), commandline::badUsage);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Could not convert: --number = x\nRun with --help for more information.\n");
}
