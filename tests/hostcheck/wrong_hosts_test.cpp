// Proof that the checks can fail: hosts that break one rule each, and the check that is to catch each of them.
#include <set>

#include <gtest/gtest.h>

#include <exchange/ChunkMessages.h>
#include <hostcheck/Rules.h>
#include <hostcheck/Runner.h>
#include <hostlink/HostLinkVocabulary.h>
#include <items/Items.h>

#include "Checker.h"
#include "LineWorld.h"

using hostcheck::Outcome;
using hostcheck::Result;
using hostlink::exchange::Chunk;
using hostlink::exchange::ChunkAnswer;
using hostlink::exchange::SequenceNumber;
using hostsim::HostApplication;
using hostsim::HostOptions;
using std::chrono::milliseconds;

namespace {

using Messages = std::optional<std::vector<ByteArray>>;

struct Case {
    HostOptions options;
    Wrongs wrongs;
};

struct WrongHost {
    const char* name;
    const char* caughtBy; // the check
    void (*make)(Case&);
};

bool isMessagePacket(const ByteArray& bytes) {
    return bytes.size() > 10 && (bytes[4] & 7) == 3;
}
bool isResponse(const ByteArray& bytes) {
    return bytes.size() == 8 && (bytes[4] & 7) == 3;
}
bool isReset(const ByteArray& bytes) {
    return bytes.size() == 8 && bytes[4] == 0x21;
}
uint16_t idOf(const ByteArray& message) {
    return static_cast<uint16_t>(message[0] | message[1] << 8);
}
ByteArray withId(ByteArray message, uint16_t id) {
    message[0] = static_cast<unsigned char>(id);
    message[1] = static_cast<unsigned char>(id >> 8);
    return message;
}

// Changes each message packet that the host sends.
template <typename Change> void onOwn(Case& host, Change change) {
    host.wrongs.toModule = [change](ByteArray bytes) mutable {
        if (isMessagePacket(bytes)) change(bytes);
        return bytes;
    };
}
template <typename Change> void onResponse(Case& host, Change change) {
    host.wrongs.toModule = [change](ByteArray bytes) mutable {
        if (isResponse(bytes)) change(bytes);
        return bytes;
    };
}
template <typename Change> void onArrival(Case& host, Change change) {
    host.wrongs.toHost = [change](ByteArray bytes) mutable {
        change(bytes);
        return bytes;
    };
}

// The application's own answers, changed.
template <typename Change> void onAnswers(Case& host, Change change) {
    host.wrongs.application = [change, busy = false](const ByteArray& message,
                                                     HostApplication& app) mutable -> Messages {
        if (busy) return std::nullopt; // the service sees the message again when it asks the application
        busy = true;
        std::vector<ByteArray> answers = app.handle(message);
        busy = false;
        change(message, answers);
        return answers;
    };
}

constexpr milliseconds never{60000};

ByteArray joined(ByteArray one, const ByteArray& two) {
    one.insert(one.end(), two.begin(), two.end());
    return one;
}

void neverGivesUp(Case& host) {
    host.wrongs.line.packetTimeout = never;
}

// What the far side knows of the host's packet in flight.
struct InFlight {
    ByteArray packet;
    hostsim::Time since{0};
    hostsim::Time now{0};
    bool isWaiting = false;
    unsigned kept = 0;
};

void repeatsUnanswered(Case& host) {
    const auto state = std::make_shared<InFlight>();
    host.wrongs.toModule = [state](const ByteArray& bytes) {
        if (isMessagePacket(bytes)) *state = {bytes, hostsim::Time(0), hostsim::Time(0), true, 0};
        return bytes;
    };
    host.wrongs.toHost = [state](const ByteArray& bytes) {
        if (isResponse(bytes)) state->isWaiting = false;
        return bytes;
    };
    host.wrongs.byItself = [state](hostsim::Time now) {
        if (!state->isWaiting) return ByteArray();
        if (state->since == hostsim::Time(0)) state->since = now;
        if (now - state->since < milliseconds(800)) return ByteArray();
        state->isWaiting = false;
        return state->packet;
    };
}

void keepsAcks(Case& host) {
    const auto state = std::make_shared<InFlight>();
    host.wrongs.toModule = [state](const ByteArray& bytes) {
        if (!isMessagePacket(bytes)) return bytes;
        state->isWaiting = true;
        state->since = state->now;
        return bytes;
    };
    host.wrongs.byItself = [state](hostsim::Time now) {
        state->now = now;
        return ByteArray();
    };
    host.wrongs.toHost = [state](const ByteArray& bytes) {
        if (isReset(bytes)) state->kept = 0;
        if (!isResponse(bytes)) return bytes;
        const bool isLate = state->isWaiting && state->now - state->since > milliseconds(900);
        if ((!state->isWaiting || isLate) && bytes[4] == 0xA3) ++state->kept;
        state->isWaiting = false;
        return bytes;
    };
    host.wrongs.hears = [state](const ByteArray& bytes) {
        if (!isMessagePacket(bytes) || state->kept == 0) return ByteArray();
        --state->kept;
        state->isWaiting = false;
        return ByteArray{0xFF, 0xFE, 8, 0, 0xA3, 0, 0, 0};
    };
}

// Acknowledges a reset and does nothing else.
void forgetsNothing(Case& host) {
    const auto owed = std::make_shared<unsigned>(0);
    host.wrongs.toHost = [owed](const ByteArray& bytes) {
        if (!isReset(bytes)) return bytes;
        ++*owed;
        return ByteArray();
    };
    host.wrongs.byItself = [owed](hostsim::Time) {
        if (*owed == 0) return ByteArray();
        --*owed;
        return ByteArray{0xFF, 0xFE, 8, 0, 0xA3, 0, 0, 0};
    };
}

void confirmsWithoutHolding(Case& host) {
    host.wrongs.application = [](const ByteArray& message, HostApplication&) -> Messages {
        if (idOf(message) != MSG_SetState) return std::nullopt;
        return std::vector<ByteArray>{withId(message, MSG_SetStateResponse)};
    };
}

// The answers to chunks, changed.
template <typename Change> void onChunks(Case& host, Change change) {
    onAnswers(host, [change](const ByteArray& message, std::vector<ByteArray>& answers) mutable {
        if (idOf(message) != MSG_DataTransfer) return;
        const auto chunk = hostlink::exchange::readChunk(message);
        auto answer = hostlink::exchange::readAnswer(answers[0]);
        if (!chunk || chunk->aborted || !answer) return;
        change(*chunk, *answer);
        answers[0] = hostlink::exchange::writeAnswer(*answer);
    });
}

void takesAllChunks(Case& host) {
    onChunks(host, [](const Chunk&, ChunkAnswer& answer) { answer.aborted = false; });
}

const WrongHost wrongHosts[] = {
    {"acknowledges twice", "response-form",
     [](Case& host) {
         host.wrongs.afterWrite = [](const ByteArray& bytes) { return isResponse(bytes) ? bytes : ByteArray(); };
     }},
    {"forgets the last flag of its responses", "response-form",
     [](Case& host) { onResponse(host, [](ByteArray& bytes) { bytes[4] &= 0xDF; }); }},
    {"acknowledges with both bits", "response-form",
     [](Case& host) { onResponse(host, [](ByteArray& bytes) { bytes[4] |= 0x40; }); }},
    {"acknowledges too late", "response-time",
     [](Case& host) {
         host.options.faults.lateEvery = 7;
         host.options.faults.lateBy = milliseconds(700);
     }},
    {"is slow", "response-median",
     [](Case& host) {
         host.options.faults.lateEvery = 1;
         host.options.faults.lateBy = milliseconds(40);
     }},
    {"leaves a packet unanswered now and then", "response-time",
     [](Case& host) { host.options.faults.silentEvery = 20; }},
    {"refuses every packet once", "taken-at-once", [](Case& host) { host.options.faults.nackFirst = 1; }},
    {"refuses a packet for good now and then", "taken-in-four",
     [](Case& host) { host.options.faults.neitherEvery = 9; }},
    {"answers responses", "response-not-answered",
     [](Case& host) {
         onArrival(host, [](ByteArray& bytes) {
             if (isResponse(bytes) && bytes[4] != 0xA3) bytes[4] = 0x24; // as if it were another format
         });
     }},
    {"answers only when its own packet is answered", "answers-while-waiting",
     [](Case& host) {
         host.wrongs.toHost = [waits = false](const ByteArray& bytes) mutable {
             const bool isQuestion = isMessagePacket(bytes);
             const bool isHeard = !isQuestion || !waits;
             waits = isQuestion;
             return isHeard ? bytes : ByteArray();
         };
     }},
    {"takes IRQ frames on a serial line", "irq-on-serial",
     [](Case& host) {
         onArrival(host, [](ByteArray& bytes) {
             if (bytes.size() == 14 && bytes[4] == 0x22) bytes[4] = 0x23;
         });
     }},
    {"takes formats that do not exist", "unknown-formats",
     [](Case& host) {
         onArrival(host, [](ByteArray& bytes) {
             if (bytes.size() == 8 && (bytes[4] & 7) > 3) bytes[4] = 0x21;
         });
     }},
    {"checks the padding", "unchecked-bits",
     [](Case& host) {
         onArrival(host, [](ByteArray& bytes) {
             if (bytes.size() > 8 && bytes[7] != 0) bytes[4] = 0x27;
         });
     }},
    {"answers noise", "noise-alone",
     [](Case& host) {
         onArrival(host, [](ByteArray& bytes) {
             if (!bytes.empty() && bytes[0] != 0xFF) bytes = {0xFF, 0xFE, 0, 0, 0, 0, 0, 0};
         });
     }},
    {"looks for packets at the beginning alone", "noise-before",
     [](Case& host) {
         onArrival(host, [](ByteArray& bytes) {
             if (!bytes.empty() && bytes[0] != 0xFF) bytes.clear();
         });
     }},
    {"takes an FF before the mark for the start", "half-mark",
     [](Case& host) {
         onArrival(host, [](ByteArray& bytes) {
             if (bytes.size() > 2 && bytes[0] == 0xFF && bytes[1] == 0xFF) bytes.clear();
         });
     }},
    {"says nothing to impossible lengths", "impossible-lengths",
     [](Case& host) {
         onArrival(host, [](ByteArray& bytes) {
             if (bytes.size() == 8 && bytes[2] < 8 && bytes[3] == 0) bytes.clear();
         });
     }},
    {"drops all behind an impossible length", "good-behind-impossible",
     [](Case& host) {
         onArrival(host, [](ByteArray& bytes) {
             if (bytes.size() > 8 && bytes[2] == 5) bytes.resize(8);
         });
     }},
    {"takes the first packet of a write alone", "glued-packets",
     [](Case& host) {
         onArrival(host, [](ByteArray& bytes) {
             if (bytes.size() > 4 && bytes[3] == 0 && bytes[2] > 10 && bytes.size() > bytes[2]) bytes.resize(bytes[2]);
         });
     }},
    {"never gives up half a packet", "cut-packets", neverGivesUp},
    {"never gives up half a packet", "damaged-headers", neverGivesUp},
    {"never gives up half a packet", "packet-in-a-cut-one", neverGivesUp},
    {"never gives up half a packet", "longest-length", neverGivesUp},
    {"never gives up half a packet", "random-bytes", neverGivesUp},
    {"gives up half a packet at once", "short-pause",
     [](Case& host) { host.wrongs.line.packetTimeout = milliseconds(15); }},
    {"wants a packet in one piece", "byte-by-byte",
     [](Case& host) { host.wrongs.line.packetTimeout = milliseconds(1); }},
    {"answers damaged starts", "wrong-start",
     [](Case& host) {
         onArrival(host, [](ByteArray& bytes) {
             if (bytes.size() > 1 && (bytes[0] != 0xFF || bytes[1] != 0xFE)) bytes = {0xFF, 0xFE, 0, 0, 0, 0, 0, 0};
         });
     }},
    {"answers noise behind a packet", "noise-behind",
     [](Case& host) {
         onArrival(host, [](ByteArray& bytes) {
             if (bytes.size() == 24 && bytes[2] == 15) bytes = joined(bytes, {0xFF, 0xFE, 0, 0, 0, 0, 0, 0});
         });
     }},
    {"answers in the order of its convenience", "answer-order",
     [](Case& host) {
         host.wrongs.toModule = [swapped = false](ByteArray bytes) mutable {
             if (isResponse(bytes) && !swapped && bytes[4] == 0x63) bytes[4] = 0xA3;
             return bytes;
         };
     }},
    {"gives up half a packet late", "cut-packets",
     [](Case& host) { host.wrongs.line.packetTimeout = milliseconds(1500); }},
    {"carries repetitions out", "repeated-packet", [](Case& host) { host.options.repeatWindow = milliseconds(0); }},
    {"carries repeated parts out", "repeated-part", [](Case& host) { host.options.repeatWindow = milliseconds(0); }},
    {"takes the first packet of a restart for a repetition", "restart-heard",
     [](Case& host) {
         onArrival(host, [last = ByteArray()](ByteArray& bytes) mutable {
             if (!isMessagePacket(bytes)) return;
             if (bytes == last && bytes[5] == 0)
                 bytes = {0xFF, 0xFE, 8, 0, 0x27, 0, 0, 0};
             else
                 last = bytes;
         });
     }},
    {"takes the same message in a new frame for a repetition", "same-in-new-frame",
     [](Case& host) {
         onArrival(host, [](ByteArray& bytes) {
             if (isMessagePacket(bytes) && (bytes[4] & 0x20) != 0 && bytes[6] == 0) bytes[5] = 77;
         });
     }},
    {"expects every frame id", "id-gaps",
     [](Case& host) {
         onArrival(host, [last = -1](ByteArray& bytes) mutable {
             if (bytes.size() < 8) return;
             const int gap = last < 0 ? 0 : (bytes[5] - last) & 0xFF;
             last = bytes[5];
             if (gap > 40 && gap < 250 && isMessagePacket(bytes)) bytes.clear();
         });
     }},
    {"holds one open frame", "interleaved",
     [](Case& host) {
         onArrival(host, [open = -1](ByteArray& bytes) mutable {
             if (!isMessagePacket(bytes)) return;
             if (bytes[6] != 0 && open != bytes[5]) bytes[4] = 0x27;
             open = (bytes[4] & 0x20) != 0 ? -1 : bytes[5];
         });
     }},
    {"appends the next frame to one that was given up", "frame-given-up",
     [](Case& host) {
         // What comes with an id of which packet 0 is there is counted on from there.
         onArrival(host, [parts = std::map<uint8_t, uint8_t>()](ByteArray& bytes) mutable {
             if (!isMessagePacket(bytes)) return;
             uint8_t& next = parts[bytes[5]];
             bytes[6] = next++;
             if ((bytes[4] & 0x20) != 0) parts.erase(bytes[5]);
         });
     }},
    {"goes on with a frame that was begun anew", "frame-begun-anew",
     [](Case& host) {
         onArrival(host, [](ByteArray& bytes) {
             if (isMessagePacket(bytes) && bytes[6] == 1) bytes[6] = 0;
         });
     }},
    {"does not look at packet ids", "gap-in-frame",
     [](Case& host) {
         onArrival(host, [parts = std::map<uint8_t, uint8_t>()](ByteArray& bytes) mutable {
             if (!isMessagePacket(bytes)) return;
             uint8_t& next = parts[bytes[5]];
             if (bytes[6] == 0) next = 0;
             bytes[6] = next++;
             if ((bytes[4] & 0x20) != 0) parts.erase(bytes[5]);
         });
     }},
    {"takes packets without their frame", "packet-without-frame",
     [](Case& host) {
         onArrival(host, [open = std::map<uint8_t, bool>()](ByteArray& bytes) mutable {
             if (!isMessagePacket(bytes)) return;
             if (bytes[6] != 0 && !open[bytes[5]]) bytes[6] = 0;
             open[bytes[5]] = (bytes[4] & 0x20) == 0;
         });
     }},
    {"has a place for 20 frames and frees none", "frames-without-end",
     [](Case& host) {
         onArrival(host, [open = 0](ByteArray& bytes) mutable {
             if (isReset(bytes)) open = 0;
             if (isMessagePacket(bytes) && (bytes[4] & 0x20) == 0 && bytes[6] == 0 && ++open > 20) bytes[4] = 0x07;
         });
     }},
    {"acts before the last packet", "acts-at-the-end",
     [](Case& host) {
         onArrival(host, [](ByteArray& bytes) {
             if (isMessagePacket(bytes)) bytes[4] |= 0x20;
         });
     }},
    {"refuses resets", "reset-idle",
     [](Case& host) {
         onArrival(host, [](ByteArray& bytes) {
             if (isReset(bytes)) bytes[4] = 0x27;
         });
     }},
    {"keeps open frames over a reset", "reset-in-frame",
     [](Case& host) {
         host.wrongs.toHost = [open = ByteArray()](const ByteArray& bytes) mutable {
             if (isMessagePacket(bytes) && bytes[6] == 0 && (bytes[4] & 0x20) == 0) open = bytes;
             if (!isMessagePacket(bytes) || bytes[6] == 0 || open.empty() || open[5] != bytes[5]) return bytes;
             ByteArray both = open; // begins the frame again
             both.insert(both.end(), bytes.begin(), bytes.end());
             open.clear();
             return both;
         };
     }},
    {"keeps subscriptions over a reset", "reset-drops-subscriptions",
     [](Case& host) {
         onAnswers(host, [asked = false](const ByteArray& message, std::vector<ByteArray>& answers) mutable {
             if (idOf(message) == MSG_SubscribeState) asked = true;
             if (idOf(message) == MSG_SetState && asked && answers.size() == 1)
                 answers.push_back(withId(answers[0], MSG_StateChanged));
         });
     }},
    {"goes on with its messages after a reset", "reset-drops-queue", forgetsNothing},
    {"sends a packet again after a reset", "reset-in-flight", repeatsUnanswered},
    {"repeats a refused packet after a reset", "reset-after-nack", forgetsNothing},
    {"takes a reset for a part of the packet before it", "reset-behind-cut-packet", neverGivesUp},
    {"takes packets of 32 bytes at most", "packets-11-to-64",
     [](Case& host) {
         onArrival(host, [](ByteArray& bytes) {
             if (isMessagePacket(bytes) && bytes.size() > 32) bytes[4] = 0x27;
         });
     }},
    {"takes packets of 200 bytes at most", "packets-256",
     [](Case& host) {
         onArrival(host, [](ByteArray& bytes) {
             if (isMessagePacket(bytes) && bytes.size() > 200) bytes[4] = 0x27;
         });
     }},
    {"says nothing to packets that are too long", "largest-packet",
     [](Case& host) {
         onArrival(host, [](ByteArray& bytes) {
             if (bytes.size() > 600) bytes.clear();
         });
     }},
    {"says nothing to messages that are too long", "message-13k",
     [](Case& host) {
         onArrival(host, [](ByteArray& bytes) {
             if (isMessagePacket(bytes) && bytes[6] > 20) bytes.clear();
         });
     }},
    {"holds messages of 200 bytes", "message-256",
     [](Case& host) {
         onArrival(host, [](ByteArray& bytes) {
             if (isMessagePacket(bytes) && bytes[6] > 3) bytes[4] = 0x27;
         });
     }},
    {"holds messages of 400 bytes", "list-255",
     [](Case& host) {
         onArrival(host, [](ByteArray& bytes) {
             if (isMessagePacket(bytes) && bytes[6] > 7) bytes[4] = 0x27;
         });
     }},
    {"says nothing to messages without items", "message-3",
     [](Case& host) {
         onAnswers(host, [](const ByteArray& message, std::vector<ByteArray>& answers) {
             if (message.size() == 3) answers.clear();
         });
     }},
    {"forgets the last flag of its messages", "own-form",
     [](Case& host) {
         onOwn(host, [](ByteArray& bytes) {
             if (bytes[6] != 0) bytes[4] &= 0xDF;
         });
     }},
    {"asks for an ack in its messages", "own-form",
     [](Case& host) { onOwn(host, [](ByteArray& bytes) { bytes[4] |= 0x80; }); }},
    {"writes a checksum into the trailer", "own-form",
     [](Case& host) { onOwn(host, [](ByteArray& bytes) { bytes.back() = 0x5A; }); }},
    {"sends a line end behind its packets", "own-form",
     [](Case& host) {
         host.wrongs.afterWrite = [](const ByteArray& bytes) {
             return isMessagePacket(bytes) ? ByteArray{0x0D, 0x0A} : ByteArray();
         };
     }},
    {"sends the next packet without waiting", "one-in-flight",
     [](Case& host) {
         host.wrongs.afterWrite = [](const ByteArray& bytes) {
             if (!isMessagePacket(bytes) || (bytes[4] & 0x20) != 0) return ByteArray();
             ByteArray next = bytes;
             ++next[6];
             return next;
         };
     }},
    {"sends refused packets with another frame id", "refused-once",
     [](Case& host) {
         onOwn(host, [id = uint8_t(0)](ByteArray& bytes) mutable {
             if ((bytes[4] & 0x20) != 0 && bytes[6] == 0) bytes[5] = id++;
         });
     }},
    {"does not repeat refused packets", "refused-in-the-middle",
     [](Case& host) { host.options.outgoing.attempts = 1; }},
    {"repeats refused packets for ever", "refused-always", [](Case& host) { host.options.outgoing.attempts = 200; }},
    {"repeats refused packets at once", "refused-timing",
     [](Case& host) { host.options.outgoing.retryDelay = milliseconds(0); }},
    {"repeats refused packets late", "refused-timing",
     [](Case& host) { host.options.outgoing.retryDelay = milliseconds(180); }},
    {"makes three attempts", "refused-timing", [](Case& host) { host.options.outgoing.attempts = 3; }},
    {"repeats packets that are not answered", "unanswered", repeatsUnanswered},
    {"repeats packets that are not answered", "unanswered-in-the-middle", repeatsUnanswered},
    {"waits for ever for an answer", "unanswered", [](Case& host) { host.options.outgoing.responseTimeout = never; }},
    {"does not wait for answers", "patient",
     [](Case& host) { host.options.outgoing.responseTimeout = milliseconds(100); }},
    {"takes both bits for an ack", "answered-with-both",
     [](Case& host) {
         onArrival(host, [](ByteArray& bytes) {
             if (isResponse(bytes) && bytes[4] == 0xE3) bytes[4] = 0xA3;
         });
     }},
    {"takes neither bit for a nack", "answered-with-neither",
     [](Case& host) {
         onArrival(host, [](ByteArray& bytes) {
             if (isResponse(bytes) && bytes[4] == 0x23) bytes[4] = 0x63;
         });
     }},
    {"keeps an ack for the packet after it", "stray-ack", keepsAcks},
    {"keeps an ack for the packet after it", "late-ack", keepsAcks},
    {"uses one frame id for all", "own-ids", [](Case& host) { onOwn(host, [](ByteArray& bytes) { bytes[5] = 7; }); }},
    {"sends wrong bytes the second time", "refused-once",
     [](Case& host) {
         onOwn(host, [last = ByteArray()](ByteArray& bytes) mutable {
             const bool isAgain = bytes == last;
             last = bytes;
             if (isAgain) bytes[bytes.size() - 3] ^= 1;
         });
     }},
    {"uses the id of a message that was given up", "spoiled-id",
     [](Case& host) {
         onOwn(host, [id = uint8_t(0)](ByteArray& bytes) mutable {
             if (bytes[6] == 0) ++id;
             bytes[5] = id;
         });
     }},
    {"answers GetState with another id", "each-request",
     [](Case& host) {
         onAnswers(host, [](const ByteArray& message, std::vector<ByteArray>& answers) {
             if (idOf(message) == MSG_SetState) answers[0] = withId(answers[0], MSG_GetStateResponse);
         });
     }},
    {"answers twice", "each-request",
     [](Case& host) {
         onAnswers(host, [](const ByteArray& message, std::vector<ByteArray>& answers) {
             if (idOf(message) == MSG_GetState) answers.push_back(answers[0]);
         });
     }},
    {"leaves unknown states out", "get-in-order",
     [](Case& host) {
         onAnswers(host, [](const ByteArray& message, std::vector<ByteArray>& answers) {
             if (idOf(message) == MSG_GetState && message.size() > 8)
                 answers[0] = *hostlink::writeItems(MSG_GetStateResponse, {{9, 30}});
         });
     }},
    {"gives unknown states 0", "get-unknown",
     [](Case& host) {
         onAnswers(host, [](const ByteArray& message, std::vector<ByteArray>& answers) {
             if (idOf(message) != MSG_GetState) return;
             auto items = *hostlink::readItems(answers[0]);
             for (auto& item : items)
                 if (item.value.isNil()) item.value = 0;
             answers[0] = *hostlink::writeItems(MSG_GetStateResponse, items);
         });
     }},
    {"answers a state once that is asked for twice", "get-twice",
     [](Case& host) {
         onAnswers(host, [](const ByteArray& message, std::vector<ByteArray>& answers) {
             if (idOf(message) != MSG_GetState || message[2] != 2) return;
             answers[0] = *hostlink::writeItems(MSG_GetStateResponse, {hostlink::readItems(answers[0])->front()});
         });
     }},
    {"acknowledges unknown requests and says nothing", "unknown-requests",
     [](Case& host) {
         onAnswers(host, [](const ByteArray& message, std::vector<ByteArray>& answers) {
             if (idOf(message) > 9) answers.clear();
         });
     }},
    {"says nothing to what it cannot read", "unreadable",
     [](Case& host) {
         onAnswers(host, [](const ByteArray& message, std::vector<ByteArray>& answers) {
             if (idOf(message) == MSG_SetState && idOf(answers[0]) == MSG_UnsupportedMessageResponse) answers.clear();
         });
     }},
    {"carries the readable half out", "unreadable-no-effect",
     [](Case& host) {
         host.wrongs.application = [](const ByteArray& message, HostApplication& app) -> Messages {
             if (idOf(message) == MSG_SetState && message.size() > 7 && message[2] > 1 && message[5] == ENC_Uint8)
                 app.setState(static_cast<uint16_t>(message[3] | message[4] << 8), message[6]);
             return std::nullopt;
         };
     }},
    {"answers responses with unsupported", "responses-unanswered",
     [](Case& host) {
         onAnswers(host, [](const ByteArray& message, std::vector<ByteArray>& answers) {
             if ((idOf(message) & 0x8000) != 0) answers = {*hostlink::writeItems(MSG_UnsupportedMessageResponse, {})};
         });
     }},
    {"answers notifications with unsupported", "notifications-unanswered",
     [](Case& host) {
         onAnswers(host, [](const ByteArray& message, std::vector<ByteArray>& answers) {
             if (idOf(message) == MSG_InputEvent) answers = {*hostlink::writeItems(MSG_UnsupportedMessageResponse, {})};
         });
     }},
    {"answers SetLedApi with an id of its own", "led-unanswered",
     [](Case& host) {
         onAnswers(host, [](const ByteArray& message, std::vector<ByteArray>& answers) {
             if (idOf(message) == MSG_SetLedApi) answers = {{0x0A, 0x80, 0}};
         });
     }},
    {"says nothing to tunnels", "tunnel-answer",
     [](Case& host) {
         onAnswers(host, [](const ByteArray& message, std::vector<ByteArray>& answers) {
             if (idOf(message) == MSG_TcpTunneling) answers.clear();
         });
     }},
    {"answers tunnels with 0x8008", "tunnel-answer",
     [](Case& host) {
         onAnswers(host, [](const ByteArray& message, std::vector<ByteArray>& answers) {
             if (idOf(message) == MSG_TcpTunneling) answers[0] = withId(answers[0], 0x8008);
         });
     }},
    {"says 0 to what was set", "set-same",
     [](Case& host) {
         onAnswers(host, [](const ByteArray& message, std::vector<ByteArray>& answers) {
             if (idOf(message) == MSG_SetState) answers[0].back() = 0;
         });
     }},
    {"confirms a text and keeps its number", "set-other-encoding", confirmsWithoutHolding},
    {"repeats what was set and does not hold it", "set-other", confirmsWithoutHolding},

    {"carries the first of two values out", "set-twice",
     [](Case& host) {
         onAnswers(host, [](const ByteArray& message, std::vector<ByteArray>& answers) {
             if (idOf(message) != MSG_SetState || message[2] != 2) return;
             answers[0] = *hostlink::writeItems(MSG_SetStateResponse, {hostlink::readItems(answers[0])->front()});
         });
     }},
    {"answers subscriptions with known ids alone", "subscription-answer",
     [](Case& host) {
         onAnswers(host, [](const ByteArray& message, std::vector<ByteArray>& answers) {
             if (idOf(message) == MSG_SubscribeState) answers = {*hostlink::writeList(MSG_SubscribeStateResponse, {9})};
         });
     }},
    {"tells a change once for each subscription", "each-change-once",
     [](Case& host) {
         onAnswers(host, [](const ByteArray&, std::vector<ByteArray>& answers) {
             if (answers.size() == 2 && idOf(answers[1]) == MSG_StateChanged) answers.push_back(answers[1]);
         });
     }},
    {"does not tell the module its own changes", "own-changes",
     [](Case& host) {
         onAnswers(host, [](const ByteArray& message, std::vector<ByteArray>& answers) {
             if (idOf(message) == MSG_SetState && answers.size() > 1) answers.resize(1);
         });
     }},
    {"tells equal values", "equal-value",
     [](Case& host) {
         onAnswers(host, [](const ByteArray& message, std::vector<ByteArray>& answers) {
             if (idOf(message) == MSG_SetState && answers.size() == 1 && message[2] != 0 && answers[0].size() > 3)
                 answers.push_back(withId(answers[0], MSG_StateChanged));
         });
     }},
    {"tells what nobody asked for", "unsubscribed",
     [](Case& host) {
         onAnswers(host, [](const ByteArray& message, std::vector<ByteArray>& answers) {
             if (idOf(message) == MSG_SetState && answers.size() == 1)
                 answers.push_back(withId(answers[0], MSG_StateChanged));
         });
     }},
    {"tells the change before it answers", "answer-first",
     [](Case& host) {
         onAnswers(host, [](const ByteArray&, std::vector<ByteArray>& answers) {
             if (answers.size() == 2) std::swap(answers[0], answers[1]);
         });
     }},
    {"tells a file of another size", "transfer-whole",
     [](Case& host) {
         onChunks(host, [](const Chunk&, ChunkAnswer& answer) {
             if (answer.fileSize) ++*answer.fileSize;
         });
     }},
    {"takes damaged chunks", "transfer-wrong-checksum",
     [](Case& host) {
         onChunks(host, [](const Chunk& chunk, ChunkAnswer& answer) { answer.checksum = chunk.checksum; });
     }},
    {"ends the transfer at a repeated chunk", "transfer-repeated",
     [](Case& host) {
         onChunks(host, [last = std::optional<SequenceNumber>()](const Chunk& chunk, ChunkAnswer& answer) mutable {
             answer.aborted = answer.aborted || chunk.sequence == last;
             last = chunk.sequence;
         });
     }},
    {"takes chunks with a gap before them", "transfer-missing", takesAllChunks},
    {"takes chunks in any order", "transfer-swapped", takesAllChunks},
    {"takes chunks without a transfer", "transfer-without-beginning", takesAllChunks},
    {"wants 0 for the first number", "transfer-first-number",
     [](Case& host) {
         onChunks(host, [](const Chunk& chunk, ChunkAnswer& answer) {
             if (chunk.name && chunk.sequence->number != 0) answer.aborted = true;
         });
     }},
    {"refuses a second file", "transfer-begun-anew",
     [](Case& host) {
         onChunks(host, [begun = 0](const Chunk& chunk, ChunkAnswer& answer) mutable {
             if (chunk.name && ++begun > 1) answer.aborted = true;
         });
     }},
    {"ends the transfer at a damaged beginning", "transfer-damaged-beginning",
     [](Case& host) {
         onChunks(host, [](const Chunk& chunk, ChunkAnswer& answer) {
             if (chunk.name && chunk.checksum != answer.checksum) answer.aborted = true;
         });
     }},
    {"waits 8 s for an answer", "recovery",
     [](Case& host) { host.options.outgoing.responseTimeout = milliseconds(8000); }},
    {"loses an answer now and then", "both-directions",
     [](Case& host) {
         onAnswers(host, [n = 0](const ByteArray&, std::vector<ByteArray>& answers) mutable {
             if (++n % 97 == 0) answers.clear();
         });
     }},
};

// The checker in front of a host of the world's own.
struct Checker {
    LineWorld world;
    hostcheck::Transcript transcript;
    hostcheck::SerialLink link{world, transcript};
    hostcheck::Setup setup;
    hostcheck::Bench bench;
    hostcheck::Runner runner{bench, transcript};

    explicit Checker(const HostOptions& options = {}, const Wrongs& wrongs = {})
        : world(options, wrongs), setup(everything()), bench(link, &world, nullptr, nullptr, setup) {}
};

} // namespace

// One test for all of them: starting a program takes longer than fifty of them.
TEST(WrongHosts, EachIsCaughtByTheCheckThatIsNamedForIt) {
    for (const WrongHost& host : wrongHosts) {
        Case wrong;
        host.make(wrong);
        Checker checker(wrong.options, wrong.wrongs);
        const Result result = checker.runner.run(checkNamed(host.caughtBy));
        EXPECT_EQ(result.outcome, Outcome::Failed) << "a host that " << host.name << " gets through " << host.caughtBy;
        EXPECT_NE(result.text, "the host answers a question before the check begins") << host.name;
    }
}

// The simulator with each of its faults, and a check that tells it.
const WrongHost faults[] = {
    {"nack-first 2", "taken-at-once", [](Case& host) { host.options.faults.nackFirst = 2; }},
    {"ack-nack-every", "taken-in-four", [](Case& host) { host.options.faults.ackNackEvery = 10; }},
    {"neither-every", "response-time", [](Case& host) { host.options.faults.neitherEvery = 50; }},
    {"silent-every", "both-directions", [](Case& host) { host.options.faults.silentEvery = 40; }},
    {"late-every", "response-time",
     [](Case& host) {
         host.options.faults.lateEvery = 60;
         host.options.faults.lateBy = milliseconds(800);
     }},
    {"repeat-every", "each-request", [](Case& host) { host.options.faults.repeatEvery = 2; }},
    {"garbage-every", "own-form", [](Case& host) { host.options.faults.garbageEvery = 2; }},
    {"drop-rate to the host", "both-directions", [](Case& host) { host.options.faults.toHost.dropRate = 0.01; }},
    {"drop-rate to the module", "both-directions", [](Case& host) { host.options.faults.toModule.dropRate = 0.01; }},
    {"corrupt-rate", "both-directions", [](Case& host) { host.options.faults.toModule.corruptRate = 0.01; }},
    {"insert-rate", "both-directions", [](Case& host) { host.options.faults.toModule.insertRate = 0.01; }},
    {"repeat-rate", "both-directions", [](Case& host) { host.options.faults.toHost.repeatRate = 0.01; }},
};

TEST(Faults, OfTheSimulatorAreTold) {
    for (const WrongHost& host : faults) {
        Case wrong;
        host.make(wrong);
        Checker checker(wrong.options, wrong.wrongs);
        EXPECT_EQ(checker.runner.run(checkNamed(host.caughtBy)).outcome, Outcome::Failed) << host.name;
    }
}

// Faults that are none: bytes one by one, and events that nobody asked for.
TEST(RightHost, PassesAlthoughItWritesByteByByteAndSendsEvents) {
    HostOptions options;
    options.faults.splitWrites = true;
    options.faults.burst = 2;
    Checker checker(options);
    for (const hostcheck::Check& check : hostcheck::allChecks()) {
        const Result result = checker.runner.run(check);
        EXPECT_NE(result.outcome, Outcome::Failed) << hostcheck::asText(result);
    }
}

TEST(WrongHosts, ThereIsOneForEachCheck) {
    std::set<std::string> caught;
    for (const WrongHost& host : wrongHosts) caught.insert(host.caughtBy);
    for (const hostcheck::Check& check : hostcheck::allChecks()) {
        if (check.wires == hostcheck::Wires::Bus) continue;
        EXPECT_EQ(caught.count(check.name), 1u) << check.name;
    }
}

TEST(Rules, EachThatIsNotFreeHasACheck) {
    std::set<unsigned> checked;
    for (const hostcheck::Check& check : hostcheck::allChecks()) checked.insert(check.rule);
    unsigned number = 0;
    for (const hostcheck::Rule& rule : hostcheck::allRules()) {
        EXPECT_GT(rule.number, number) << "numbers go up";
        number = rule.number;
        EXPECT_EQ(checked.count(rule.number), rule.strength == hostcheck::Strength::Free ? 0u : 1u) << rule.number;
    }
}

TEST(RightHost, PassesAllChecks) {
    Checker checker;
    for (const hostcheck::Check& check : hostcheck::allChecks()) {
        const Result result = checker.runner.run(check);
        const bool isForBuses = check.wires == hostcheck::Wires::Bus;
        EXPECT_EQ(result.outcome, isForBuses ? Outcome::Skipped : Outcome::Passed) << hostcheck::asText(result);
    }
    EXPECT_TRUE(checker.runner.leaveInOrder());
}

TEST(RightHost, IsAskedForMoreWhenItsPacketsAreLong) {
    HostOptions options;
    options.outgoing.maxPacketSize = 256; // 40 states, 163 bytes, are one packet, 120 are two
    Checker checker(options);
    for (const hostcheck::Check* check : hostcheck::selected({"own packets"}, false))
        EXPECT_EQ(checker.runner.run(*check).outcome, Outcome::Passed) << check->name;

    options.outgoing.maxPacketSize = 1024;
    Checker ofOnePacket(options);
    const Result result = ofOnePacket.runner.run(checkNamed("one-in-flight"));
    EXPECT_EQ(result.outcome, Outcome::Skipped);
    EXPECT_EQ(result.text, "the host puts 120 states into one packet");
}

TEST(SilentHost, PassesNoCheck) {
    Wrongs silent;
    silent.toModule = [](const ByteArray&) { return ByteArray(); };
    Checker checker({}, silent);
    for (const hostcheck::Check& check : hostcheck::allChecks())
        EXPECT_NE(checker.runner.run(check).outcome, Outcome::Passed) << check.name;
}
