#include "Rules.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>

namespace hostcheck {

namespace {

constexpr Strength must = Strength::Must;
constexpr Strength should = Strength::Should;
constexpr Strength isFree = Strength::Free;

constexpr char answers[] = "Answering packets";
constexpr char bytes[] = "Bytes on a serial line";
constexpr char frames[] = "Frames and repetitions";
constexpr char reset[] = "Reset";
constexpr char sizes[] = "Sizes";
constexpr char own[] = "The host's own packets";
constexpr char messages[] = "Messages and states";
constexpr char transfers[] = "Data transfers";
constexpr char tunnels[] = "Tunnels";
constexpr char load[] = "Load and recovery";
constexpr char bus[] = "Buses";

// The rows of a table stay as they are.
// clang-format off
constexpr Rule rows[] = {
    {1, must, answers, "Every good packet but a response frame is answered with one response frame: 8 bytes, format 3, \"last\", and one of ack and nack.",
     "The module waits for it; a second one would be taken for the answer to its next packet, and both bits or neither end its message."},
    {2, must, answers, "The answer begins within 500 ms of the packet's last byte, whatever the host is doing.",
     "The module gives the message up after `UartResponseTimeout`, and takes what comes later for the answer to its next packet."},
    {3, should, answers, "Half of the answers begin within 20 ms.",
     "Every packet of a message costs this time."},
    {4, must, answers, "Answers come in the order of the packets.",
     "A response does not say which packet it answers."},
    {5, must, answers, "A response frame is never answered, and no response frame is sent that nobody waits for.",
     "The module keeps it and takes it for the answer to its next packet."},
    {6, must, answers, "The module's packets are answered also while the host waits for an answer to its own.",
     "Both sides may send at once; each would wait for the other."},
    {7, isFree, answers, "The frame id of a response.",
     "Nobody looks at it."},
    {8, must, answers, "A good packet may be refused (nack) while there is no room for it, but it is taken within four attempts 10 ms apart.",
     "The module makes four attempts."},
    {9, should, answers, "A good packet is taken at its first attempt.",
     "Each refusal costs 10 ms and the packet's time on the line."},
    {10, must, answers, "IRQ frames on a serial line, and formats 4 to 7, are answered with nack and change nothing.",
     "They are packets, so somebody waits; but nobody has a use for them there."},
    {11, must, answers, "The \"ack\" flag of a message packet, bits 3 and 4 of its flags, its padding and its trailer change nothing.",
     "They are not checked, and bits may be given a meaning later."},

    {12, must, bytes, "Bytes before a start mark are skipped and not answered.",
     "Noise, and a module that was switched off in the middle of a packet. Nobody waits for an answer."},
    {13, must, bytes, "A start mark with an impossible length (0 to 7, 9, 10) is answered with one nack, and the search goes on right behind the mark.",
     "The sender of a damaged packet shall try again, and a good packet may stand behind the mark."},
    {14, must, bytes, "An `FF` right before `FF FE` is no start.",
     "`FF FF FE` is a byte of noise and a start mark."},
    {15, must, bytes, "Bytes behind a good packet are the next one's: packets without a pause between them are each taken and answered.",
     "The module's reader and writer share one line, so a response frame and a packet may follow one another."},
    {16, must, bytes, "A pause of up to 50 ms within a packet is bridged.",
     "Drivers and USB adapters hold bytes back."},
    {17, must, bytes, "A packet that stops is given up after a pause of 100 ms, at the latest after 250 ms; what has come of it is searched for another start mark, and answered with nack when there is none.",
     "The module may have started over; half a packet would swallow those behind it."},
    {18, must, bytes, "A packet longer than the host holds is answered with nack and taken for none: at once, or when it stops.",
     "A damaged length must not end the conversation."},

    {19, must, frames, "The same bytes as those of the message packet taken last are a repetition when they come within 500 ms, no packet of an earlier frame id has come since, and they are not packet 0 of frame 0. A repetition is answered with ack and not carried out.",
     "An ack arrived as a nack: the module sends the same bytes again."},
    {20, must, frames, "Packet 0 of frame 0 is always a new packet.",
     "A module that starts over begins with frame 0 and often says the same first thing."},
    {21, must, frames, "The same message in a frame with another id is a new message.",
     "An application that asks twice wants two answers."},
    {22, must, frames, "Gaps in the module's frame ids, and any first id, change nothing.",
     "Messages, response frames and IRQ frames draw from one counter, and frames get lost."},
    {23, must, frames, "Two frames may be open at once.",
     "Two threads of the module write; on a serial line one of them may have been given up."},
    {24, must, frames, "Packet 0 begins its frame anew: what was there with this id is dropped.",
     "The module gave that frame up, and its counter has come round."},
    {25, must, frames, "Any other packet id than the one that comes next in its frame is answered with nack and drops the frame; so does one without a frame.",
     "A packet was lost or doubled; a message with a hole would be carried out."},
    {26, must, frames, "Frames that never end take nothing from those that come later, however many they are.",
     "Each message that the module gives up leaves one behind, and there is no time-out for them."},
    {27, must, frames, "The host acts on a message when its packet marked \"last\" has come, not before.",
     "Until then the module may give it up."},

    {28, must, reset, "A reset frame is answered with ack, in every state of the host.",
     "It is how a module makes sure."},
    {29, must, reset, "It drops frames that are open.",
     "The module has forgotten them."},
    {30, must, reset, "It drops the host's own messages, that in flight included.",
     "They answer what the module has forgotten."},
    {31, must, reset, "It drops all subscriptions.",
     "Nobody asked for them in this life of the module."},
    {32, isFree, reset, "Whether states keep their values.",
     "A reset starts the conversation over, not the product; most hosts keep them."},

    {33, must, sizes, "Packets of 11 to 64 bytes are taken.",
     "64 is what a module sends that nobody told otherwise; the last packet of a message may be of any size."},
    {34, should, sizes, "Packets of 256 bytes are taken.",
     "They halve the cost of long messages."},
    {35, must, sizes, "Messages of up to 256 bytes are taken.",
     "Less would not hold a title and a handful of states."},
    {36, should, sizes, "A list of 255 states (513 bytes) is taken.",
     "It is the longest list that there is."},
    {37, must, sizes, "A message that is too long is refused with nack, never with silence, and the host goes on.",
     "The module then knows, and the next message is not lost."},
    {38, must, sizes, "A message of 3 bytes, without items, is a message.",
     "A count of 0 is allowed."},

    {39, must, own, "Own packets are as the wire format says: length, format 3, bits 3, 4, 6 and 7 of the flags, padding and trailer 0, one frame id, packet ids from 0 by one, \"last\" on the last one alone; no byte before or within a packet that is not its own.",
     "The module puts packets together by frame id and \"last\" and cuts by the length alone."},
    {40, must, own, "One own packet is in flight; the next one goes out when it is answered.",
     "The module's response does not say which packet it answers."},
    {41, must, own, "An own packet that is refused (nack) is sent again with the same bytes, four attempts at most.",
     "The refusal may have been an ack that was damaged; other bytes would be another packet."},
    {42, should, own, "It is sent four times, 5 to 100 ms after each nack.",
     "As the module does: 10 ms, four attempts."},
    {43, must, own, "An own packet that is not answered is not sent again: its message is given up, and the host goes on within 5 s.",
     "The module appends what it gets: a packet that it has taken and gets again stands twice in the message."},
    {44, must, own, "An own packet that is answered with both bits or neither is not sent again; its message is given up.",
     "The module never sends these: the answer is damaged, and the packet may have been taken."},
    {45, must, own, "An answer that comes when no own packet waits for one does nothing, and is not kept.",
     "It would be taken for that of the next packet."},
    {46, must, own, "Each own message has the frame id after the one before it.",
     "The module puts packets together by it; an id used twice in a row would join two messages."},
    {47, must, own, "The id of an own message of several packets that was given up is not used again before a reset or before all ids are used up so.",
     "The module keeps the part for ever, and puts it before the next frame with this id."},
    {48, should, own, "The host waits 500 ms or longer for an answer to its own packet.",
     "The module answers when its reader comes to it, which a slow observer delays."},

    {49, must, messages, "Each request is answered once, with the id that belongs to it.",
     "The application waits for it by its id."},
    {50, must, messages, "The answer to \"GetStateMessage\" has one item for each id, in the order asked; \"Nil\" for a state that is unknown or has no value.",
     "Unknown states are no error: the module may know more of them than the host."},
    {51, must, messages, "The answer to \"SetStateMessage\" has one item for each item, in the same order, with the value now held: another one when the value was refused.",
     "So the module knows what holds without asking again."},
    {52, isFree, messages, "Which values are refused.",
     "What a state means is the product's affair."},
    {53, must, messages, "An unknown request is answered with \"UnsupportedMessageResponse\" (0x8000). An acknowledgement alone is silence.",
     "The application would wait for its time-out each time."},
    {54, must, messages, "A message that cannot be read (items cut off, an encoding that does not exist, fewer items than its count says) has no effect and is answered with \"UnsupportedMessageResponse\".",
     "Half of it would be carried out, or its sender would wait."},
    {55, must, messages, "Responses, StateChanged and InputEvent are not answered; nor is SetLedApi, but for a host without LEDs, with \"UnsupportedMessageResponse\".",
     "Nobody waits for an answer; a message that comes all the same is taken for that to something else."},
    {56, must, messages, "A subscription is answered with the same ids, in the same order, unknown ones included.",
     "As for rule 50."},
    {57, must, messages, "Each change of a subscribed state is told once, in the order of the changes, however often it was subscribed to.",
     "Programs count on the last value told being the one held."},
    {58, must, messages, "A module is told its own changes like any other; setting the value that is held is no change and is not told.",
     "Several programs share the module: one sets, another one has subscribed. Two of them that set what they are told would never end."},
    {59, must, messages, "A state that is not subscribed to is not told; nor is one after it was unsubscribed.",
     "Nobody asked."},
    {60, must, messages, "A tag that occurs twice is carried out twice, in order; a request's answer has an item for each.",
     "The count of the items is what the module goes by."},
    {61, isFree, messages, "Input events may come before anybody asked for anything.",
     "There is no subscription for them. A host that waits until the module has been heard loses none."},
    {62, should, messages, "\"SetStateResponseMessage\" comes before the \"StateChangedMessage\" that it causes.",
     "The program that asked hears first that it was done."},

    {63, must, transfers, "A file name begins a transfer and ends one under way; its chunk may have any sequence number. From there it counts by one and wraps in the width in which it is sent.",
     "The module's own library begins with 0; others need not."},
    {64, must, transfers, "The checks of a chunk come in this order: abort, checksum, file name, repetition, sequence.",
     "A damaged chunk must neither begin nor end a transfer."},
    {65, must, transfers, "A chunk whose checksum is not that of its data is not taken; the answer bears the checksum of the data as they arrived, and the transfer goes on.",
     "The sender sees the difference and sends the chunk again."},
    {66, must, transfers, "A chunk with number and checksum of the one taken last is answered as that was and not taken twice.",
     "Its answer got lost."},
    {67, must, transfers, "A chunk out of sequence, and one without a transfer, is answered with \"abort\" behind number and checksum; the transfer is over.",
     "The file would have a hole."},
    {68, must, transfers, "The last chunk is answered with its number and checksum, \"last chunk\", the bytes received and the checksum of them all, in this order.",
     "It is the proof that the host holds the file."},

    {69, must, tunnels, "A tunnelling request is answered with 0x8009, or with 0x8000 by a host without tunnels. Data that flow back are a request of the host's own.",
     "The answer tells only that the request was taken; when data come back nobody knows."},

    {70, must, load, "With both directions busy nothing is lost, doubled or out of order.",
     "That is when buffers are full and answers cross."},
    {71, must, load, "Whatever came, the host answers a good packet within 5 s.",
     "It has given up what it waited for by then."},

    {72, must, bus, "The line goes low for a packet and stays low until the IRQ frame comes.",
     "The module reads the level after the edge; a line that is high again is ignored. It may fall once more when nobody comes."},
    {73, must, bus, "One falling edge for each packet: the line goes high when the packet has been read, and falls again for the next one.",
     "Each edge is served by one exchange, which takes one packet."},
    {74, must, bus, "An IRQ frame with value v is answered with the packet when it has v bytes or fewer, else once with an IRQ frame whose value is the packet's whole length.",
     "The module reads v bytes, whatever comes; an exchange is given up after 64 IRQ frames."},
    {75, must, bus, "Each read begins with the first byte of the answer, or with bytes that are not `FF FE`; what follows the answer is ignored.",
     "The module looks at the first two bytes of each read and reads again."},
    {76, must, bus, "The answer is there in the fourth read at the latest, 4.5 ms after the first.",
     "It is the module's last attempt."},
    {77, should, bus, "It is there within 3 ms.",
     "The last attempt leaves an ERROR line in the module's log."},
    {78, must, bus, "After a nack the line falls again, and the same bytes are handed out.",
     "The module does not ask a second time by itself."},
    {79, must, bus, "An IRQ frame to a host with nothing to say is answered with a response frame.",
     "An edge may have been served already."},
    {80, must, bus, "A write while the line is low is answered like any other, and the line stays low.",
     "Both sides may have something to say at once."},
    {81, must, bus, "The answer is the same in every read until the next write.",
     "The module may have read it damaged, and reads again."},
    {82, must, bus, "A write that holds no good packet is answered with nack.",
     "The bytes were damaged; the module writes them again."},
    };
// clang-format on

} // namespace

const char* nameOf(Strength strength) {
    if (strength == Strength::Must) return "must";
    return strength == Strength::Should ? "should" : "free";
}

const std::vector<Rule>& allRules() {
    static const std::vector<Rule> rules(std::begin(rows), std::end(rows));
    return rules;
}

const Rule& rule(unsigned number) {
    const auto* found =
        std::find_if(std::begin(rows), std::end(rows), [number](const Rule& one) { return one.number == number; });
    if (found == std::end(rows)) throw std::out_of_range("no rule " + std::to_string(number));
    return *found;
}

std::string rulesAsMarkdown() {
    std::string text;
    const std::string* topic = nullptr;
    std::string current;
    for (const Rule& one : rows) {
        if (topic == nullptr || current != one.topic) {
            current = one.topic;
            topic = &current;
            text += "\n## " + current + "\n\n| rule | | | why |\n|---|---|---|---|\n";
        }
        text += "| " + std::to_string(one.number) + " | " + nameOf(one.strength) + " | " + one.text + " | " +
                one.reason + " |\n";
    }
    return text;
}

} // namespace hostcheck
