/// @file
/// Which frame ids are under way.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <utility>

/// The frame ids of messages that are being sent. The host joins packets by their frame id alone, so two messages must
/// not bear the same at the same time. Any thread; no lock.
class FrameIds {
public:
    static constexpr int count = 256; // an id is one byte on the wire

    /// One message's id, until this goes.
    class Claim {
    public:
        /// Draws an id from `draw`, again while the one that comes is another message's: 256 times at most, since a
        /// link may give the same id every time. The last one drawn is used then, and shared.
        template <typename Draw> Claim(FrameIds& of, Draw draw) : ids(of) {
            for (int draws = 1;; ++draws) {
                drawn = draw();
                owned = ids.take(drawn);
                if (owned || draws == count) return;
            }
        }
        Claim(const Claim&) = delete;
        Claim& operator=(const Claim&) = delete;
        ~Claim() {
            if (owned) ids.giveBack(drawn);
        }
        /// As it was drawn; its low eight bits are claimed.
        int id() const { return drawn; }

    private:
        FrameIds& ids;
        int drawn = 0;
        bool owned = false;
    };

private:
    using Word = std::atomic<uint64_t>;
    static constexpr unsigned bits = 64;

    std::pair<Word&, uint64_t> bitOf(int id) {
        const auto number = static_cast<uint8_t>(id);
        return {words[number / bits], uint64_t{1} << number % bits};
    }
    bool take(int id) {
        const auto [word, bit] = bitOf(id);
        return (word.fetch_or(bit) & bit) == 0;
    }
    void giveBack(int id) {
        const auto [word, bit] = bitOf(id);
        word.fetch_and(~bit);
    }

    std::array<Word, count / bits> words{};
};
