// Settings in tables, as people write them.
#include <sstream>

#include <gtest/gtest.h>

#include <commandline/CommandLine.h>
#include <commandline/Tables.h>

using commandline::readTables;
using commandline::TableLine;

namespace {

std::string printed(const std::string& text) {
    std::istringstream input(text);
    std::string all;
    for (const TableLine& line : readTables(input)) {
        all += line.name.empty() ? "[" + line.fullName() + "]" : line.fullName();
        for (const std::string& value : line.values) all += " " + value;
        all += "; ";
    }
    return all;
}

} // namespace

TEST(Tables, AreReadLineByLine) {
    EXPECT_EQ(printed("# a bench\n[bench]\nuart = \"/dev/ttyS1\" # the left one\nbaud = 9600\n[rig]\ntwo = [1, 2]\n"),
              "[bench]; bench.uart /dev/ttyS1; bench.baud 9600; [rig]; rig.two 1 2; ");
    EXPECT_EQ(printed(""), "");
    EXPECT_EQ(printed("[empty]\n"), "[empty]; ");
}

TEST(Tables, TellWhatStandsInNoneOrDeeper) {
    EXPECT_EQ(printed("baud = 3\n"), "baud 3; ");
    EXPECT_EQ(printed("[a.b]\nbaud = 3\n"), "[a]; [a.b]; a.b.baud 3; ");
}
