#include "Top.h"

#include <algorithm>
#include <cstdint>
#include <mutex>
#include <system_error>
#include <utility>

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include "Screen.h"
#include "TopTable.h"
#include "command/Output.h"
#include "command/UsageError.h"

namespace command {

namespace {

using Clock = std::chrono::steady_clock;
using descriptor::Descriptor;
using hostlink::LinkState;

constexpr std::chrono::milliseconds shortest{50}; // between two pictures: as often as an eye can follow
constexpr int oldest = 1000;                      // milliseconds; ages are told in seconds
constexpr long page = 10;
constexpr const char* help = "s state  v value  a age  c changes  p pause  arrows more rows  q quit";

/// What is shown, and the threads that tell it.
class Top {
public:
    Top(Program& run, bool allStates)
        : program(run), onlyHeld(allStates), news(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
        if (!news) throw std::system_error(errno, std::generic_category(), "cannot watch");
    }

    ExitCode run(const std::vector<hostlink::StateId>& states);

private:
    void told(const hostlink::Change& change);
    void linkIs(LinkState now, const std::string& why);
    void wake();
    /// Until q or the program's end.
    void loop(Screen& screen, const hostlink::Subscription& changes);
    void draw(Screen& screen);
    std::string title() const;
    /// Waits for something to show or to do; what was typed.
    std::string wait(Screen& screen);
    void press(const std::string& typed);

    Program& program;
    const bool onlyHeld;
    const Descriptor news;
    bool over = false;              // of the program's own thread
    hostlink::Result<void> refused; // of the program's own thread
    std::mutex mutex;               ///< guards `table`, `link` and `reason`
    TopTable table;
    LinkState link = LinkState::Opening;
    std::string reason;
};

void Top::wake() {
    const std::uint64_t one = 1;
    descriptor::repeatInterrupted([&] { return ::write(news.get(), &one, sizeof one); });
}

void Top::told(const hostlink::Change& change) {
    if (onlyHeld && change.wasRead && change.value.isNil()) return;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        table.put(change.state.name(), valueText(change.state, change.value), !change.wasRead, Clock::now());
    }
    wake();
}

void Top::linkIs(LinkState now, const std::string& why) {
    {
        const std::lock_guard<std::mutex> lock(mutex);
        link = now;
        reason = why;
    }
    wake();
}

// Under the lock.
std::string Top::title() const {
    const std::string paused = table.isPaused() ? "PAUSED  " : "";
    switch (link) {
    case LinkState::Opening: return paused + "link opening";
    case LinkState::Up: return paused + "link up";
    case LinkState::Down: return paused + "link down: " + reason;
    case LinkState::Closed: break;
    }
    return paused + "link closed";
}

void Top::draw(Screen& screen) {
    const Screen::Size size = screen.size();
    std::vector<std::string> lines;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        const std::string wire = program.wire().print();
        lines = table.lines(size.width, size.height > 2 ? size.height - 2 : 1, Clock::now());
        lines.insert(lines.begin(), fitted("hostlink  " + wire + "  " + title(), size.width));
    }
    lines.resize(size.height > 1 ? size.height - 1 : 1, "");
    if (size.height > 1) lines.push_back(fitted(help, size.width));
    screen.draw(lines, 1);
}

std::string Top::wait(Screen& screen) {
    pollfd waits[] = {{STDIN_FILENO, POLLIN, 0},
                      {news.get(), POLLIN, 0},
                      {screen.resized(), POLLIN, 0},
                      {program.stop().descriptor(), POLLIN, 0}};
    descriptor::repeatInterrupted([&] { return ::poll(waits, 4, oldest); });
    std::uint64_t count = 0;
    if (waits[1].revents != 0) descriptor::repeatInterrupted([&] { return ::read(news.get(), &count, sizeof count); });
    if (waits[2].revents != 0) screen.forgetResize();
    if (waits[0].revents == 0) return "";
    std::string typed = screen.keys();
    if (typed.empty()) over = true; // the terminal is gone
    return typed;
}

void Top::press(const std::string& typed) {
    const std::lock_guard<std::mutex> lock(mutex);
    const std::pair<const char*, long> moves[] = {{"\033[A", -1}, {"\033[B", 1},      {"\033OA", -1},
                                                  {"\033OB", 1},  {"\033[5~", -page}, {"\033[6~", page}};
    for (const auto& [keys, rows] : moves) {
        if (typed == keys) return table.scroll(rows);
    }
    for (const char key : typed) {
        switch (key) {
        case 's': table.sortBy(TopTable::Column::State); break;
        case 'v': table.sortBy(TopTable::Column::Value); break;
        case 'a': table.sortBy(TopTable::Column::Age); break;
        case 'c': table.sortBy(TopTable::Column::Count); break;
        case 'p': table.pause(Clock::now()); break;
        case 'q': over = true; break;
        default: break;
        }
    }
}

void Top::loop(Screen& screen, const hostlink::Subscription& changes) {
    while (!over && !program.stop().isRequested()) {
        draw(screen);
        const auto drawn = Clock::now();
        press(wait(screen));
        refused = changes.established(std::chrono::milliseconds(0));
        if (refused.outcome() == hostlink::Outcome::Unsupported || refused.outcome() == hostlink::Outcome::BadArgument)
            return;
        if (!over)
            program.stop().waitFor(std::chrono::ceil<std::chrono::milliseconds>(drawn + shortest - Clock::now()));
    }
    refused = {};
}

ExitCode Top::run(const std::vector<hostlink::StateId>& states) {
    hostlink::Client& host = program.host();
    {
        Screen screen(program.stop().descriptor());
        program.stop().beforeSuddenEnd([&screen] { screen.restore(); });
        const hostlink::Listening listening =
            host.onLink([this](LinkState now, const std::string& why) { linkIs(now, why); });
        const hostlink::Subscription changes =
            host.subscribe(states, [this](const hostlink::Change& change) { told(change); });
        loop(screen, changes);
        program.stop().beforeSuddenEnd({});
    }
    if (!refused) return program.output().failed(refused);
    if (host.linkState() != LinkState::Down) return ExitCode::Good;
    return program.output().failed(ExitCode::NoLink, "LinkDown", host.linkText());
}

} // namespace

ExitCode runTop(Program& program, const std::vector<hostlink::StateId>& states, bool all) {
    if (program.output().isJson()) throw UsageError("--top is for people: --json without it prints each change");
    if (!Screen::isPossible())
        throw UsageError("--top draws on a terminal, and standard input or output is none; without --top watch prints "
                         "a line for each change");
    return Top(program, all).run(states);
}

} // namespace command
