/// @file
/// A recorder at work.
#pragma once

#include <condition_variable>
#include <mutex>
#include <string_view>
#include <thread>
#include <vector>

#include <capture/PcapngWriter.h>
#include <capture/RecordedWire.h>

#include "hostlinkclient/Recorder.h"
#include "hostlinkclient/session/RecordedFiles.h"
#include "hostlinkclient/session/SerialRecording.h"

namespace hostlink {

/// Something to be recorded, of which nothing is kept.
struct RecordedPiece {
    const char* kind; ///< of the wire
    capture::Form form;
    const char* device;
    const char* words; ///< about the wire, for people
    capture::Direction direction;
    const uint8_t* bytes;
    std::size_t size;
    std::string_view comment{};
};

/// Two threads' worth of work: whoever records puts a packet into a buffer that is there already; the recorder's own
/// thread wakes for the first one, waits for more, and writes all of them.
class HOSTLINK_HIDDEN Recorder::Run {
public:
    explicit Run(RecordedFiles into);
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;
    ~Run();

    /// Any thread. Does not wait for the disk.
    void record(const RecordedPiece& piece) noexcept;

    std::string file() const;
    std::string problem() const;
    uint64_t lost() const;
    void flush();

private:
    struct Wire {
        std::string kind;
        capture::Form form;
        std::string device;
        bool is(const RecordedPiece& piece) const;
    };

    void keep(const RecordedPiece& piece);
    uint32_t interfaceOf(const RecordedPiece& piece);
    void tellLoss(uint32_t interface, uint64_t now);
    void run();
    void writeOut(std::unique_lock<std::mutex>& lock);
    void noteProblem(const std::string& now);

    RecordedFiles files; // the thread's, once it runs
    const std::size_t room;
    mutable std::mutex mutex; // guards all below but the thread
    std::condition_variable wake;
    std::condition_variable wrote;
    capture::Bytes incoming; // has room for `room` bytes
    capture::Bytes outgoing; // the thread's while it writes
    std::size_t incomingPackets = 0;
    std::vector<Wire> wires; // by the numbers of their interfaces
    std::vector<capture::Interface> interfaces;
    std::string path;    // of the present file
    std::string trouble; // why it cannot be written
    uint64_t left = 0;   // pieces that were left out
    uint64_t told = 0;   // of them, those that the recording tells of
    uint64_t writes = 0; // how often the thread has written
    bool isWriting = false;
    bool hurry = false;
    bool ending = false;
    SerialCalls serialCalls{*this};
    std::thread thread;
};

} // namespace hostlink
