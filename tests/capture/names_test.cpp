// What a recording says of its wire, and how its files are named.
#include <gtest/gtest.h>

#include <capture/RecordedWire.h>
#include <capture/RingName.h>

using namespace capture;

TEST(RecordedWire, StandsInTheDescriptionOfItsInterface) {
    const Interface interface = interfaceOf({"uart", Form::Pieces, "/dev/ttyS1", "115200 baud"});
    EXPECT_EQ(interface.name, "/dev/ttyS1");
    EXPECT_EQ(interface.description, "uart bytes, 115200 baud");
    EXPECT_EQ(interfaceOf({"spi", Form::Transactions, "x"}).description, "spi transactions");
    const auto wire = wireOf(interface);
    ASSERT_TRUE(wire);
    EXPECT_EQ(wire->kind, "uart");
    EXPECT_EQ(wire->form, Form::Pieces);
    EXPECT_EQ(wire->device, "/dev/ttyS1");
    EXPECT_EQ(wire->words, "115200 baud");
    EXPECT_EQ(wireOf({"", "link packets"})->form, Form::Packets);
    EXPECT_EQ(wireOf({"", "link packets"})->words, "");
    for (const char* text : {"", "uart", " bytes", "uart words", "uart,a bytes", "uart bytes5"})
        EXPECT_FALSE(wireOf({"", text})) << text;
}

TEST(RecordedWire, ReadsCommentsThatMeanSomething) {
    Packet packet;
    EXPECT_EQ(verdictOf(packet), "");
    EXPECT_FALSE(isEdge(packet));
    packet.comments = {"for people", "verdict NoResponse", "line low"};
    EXPECT_EQ(verdictOf(packet), "NoResponse");
    EXPECT_TRUE(isEdge(packet));
}

TEST(RingName, HasNumberAndWriter) {
    EXPECT_EQ(nameOf(RingFile{12, "4711"}), "hostlink-000012-4711.pcapng");
    EXPECT_EQ(nameOf(RingFile{12345678, "4711.2"}), "hostlink-12345678-4711.2.pcapng");
    const auto file = ringFileOf("hostlink-000012-4711.2.pcapng");
    ASSERT_TRUE(file);
    EXPECT_EQ(file->number, 12u);
    EXPECT_EQ(file->writer, "4711.2");
    for (const char* name :
         {"", "hostlink.pcapng", "hostlink-12-4711.pcapng", "hostlink-00001a-4711.pcapng", "hostlink-000012-me.pcapng",
          "hostlink-000012-.pcapng", "hostlink-000012.pcapng", "xostlink-000012-4711.pcapng",
          "hostlink-000012-4711.pcapnx", "hostlink-0000000000000000012-4711.pcapng"})
        EXPECT_FALSE(ringFileOf(name)) << name;
}

TEST(RingName, AnnouncesARunningRecorder) {
    EXPECT_EQ(announcementOf({"4711", "/var/log/link"}), "hostlink-recorder/4711/var/log/link");
    EXPECT_FALSE(announcementOf({"4711", "/" + std::string(107, 'x')}));
    EXPECT_FALSE(announcementOf({"4711", "/a\nb"}));
    const std::string begin = "0000000000000000: 00000002 00000000 00000000 0001 01 12345 ";
    const auto recorder = runningRecorderOf(begin + "@hostlink-recorder/4711.2/var/log/my link");
    ASSERT_TRUE(recorder);
    EXPECT_EQ(recorder->writer, "4711.2");
    EXPECT_EQ(recorder->folder, "/var/log/my link");
    for (const char* name : {"", "@/tmp/.X11-unix/X0", "@hostlink-recorder/4711", "@hostlink-recorder/me/x",
                             "/hostlink-recorder/4711/var"})
        EXPECT_FALSE(runningRecorderOf(begin + name)) << name;
}
