/// @file
/// A host that can be asked.
#pragma once

#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <vector>

#include <hostlink/ByteArray.h>
#include <hostlink/HostLinkExport.h>
#include <hostlink/HostLinkVocabularyNumbers.h>
#include <hostlinkclient/Call.h>
#include <hostlinkclient/Change.h>
#include <hostlinkclient/Events.h>
#include <hostlinkclient/Options.h>
#include <hostlinkclient/Result.h>
#include <hostlinkclient/StateId.h>
#include <hostlinkclient/Statistics.h>
#include <hostlinkclient/Subscription.h>
#include <hostlinkclient/Transfer.h>
#include <hostlinkclient/Tunnel.h>
#include <hostlinkclient/Value.h>
#include <hostlinkclient/Wire.h>

namespace hostlink {

class Core;

/// Whether the host can be reached.
enum class LinkState {
    Opening, ///< for the first time; requests wait
    Up,      ///< the host answers
    Down,    ///< no link; a new one is being made, again and again
    Closed   ///< `close()` was called
};

/// A key on the module or on the host.
struct InputEvent {
    ButtonState event; ///< pressed, released, repeated
    Value key;         ///< its number
};

/// Talks to one host over one wire: opens the link, asks, keeps what the host is subscribed for, makes a link that is
/// lost anew, and closes it.
///
/// Any thread may call, also several at once, and callbacks of the client too: they run on threads of their own, on
/// which the client waits for nothing. No call throws for what the wire does; what went wrong is in the result. A call
/// with a bad argument sends nothing.
///
/// The destructor ends what is under way, as `close()` does. Not to be called from a callback of the client, unless
/// that runs in the program's own loop (`Options::events`) or is that of a subscription.
class HOSTLINK_EXPORT Client {
public:
    template <typename T> using Callback = std::function<void(Result<T>)>;

    /// Begins to open the link, unless `Options::opensLater` leaves that to `open()`, and returns; the first requests
    /// wait until it is open or has failed to open.
    /// @throw std::bad_alloc, std::system_error there is no memory or no thread to be had
    explicit Client(const Wire& wire, const Options& options = {});
    ~Client();
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    /// @name Requests
    /// The plain ones wait; those with "Async" return at once, with a future or a callback. A callback that is not
    /// empty is called once, on the client's thread for callbacks; what close() does about it stands there.
    ///
    /// `BadArgument`: no state of that name, no states at all, one twice, more than 255, a value longer than 65535
    /// bytes or a message longer than 65535 bytes or 256 packets of the wire, a deadline of 0 or less.
    /// @{

    /// The value of a state; Nil when the host has none for it.
    Result<Value> get(const StateId& state, const Call& call = {});
    std::future<Result<Value>> getAsync(const StateId& state, const Call& call = {});
    void getAsync(const StateId& state, Callback<Value> done, const Call& call = {});
    /// The values of states, in the order in which they are asked for.
    Result<std::vector<StateValue>> getMany(const std::vector<StateId>& states, const Call& call = {});
    std::future<Result<std::vector<StateValue>>> getManyAsync(const std::vector<StateId>& states,
                                                              const Call& call = {});
    void getManyAsync(const std::vector<StateId>& states, Callback<std::vector<StateValue>> done,
                      const Call& call = {});

    /// Sets a state; `Done` when the host answers that it holds the value. A packet carries no checksum: with `Confirm`
    /// the state is read back and, within the deadline, set again until the host holds the value.
    Result<void> set(const StateId& state, const Value& value, const Call& call = {});
    std::future<Result<void>> setAsync(const StateId& state, const Value& value, const Call& call = {});
    void setAsync(const StateId& state, const Value& value, Callback<void> done, const Call& call = {});
    Result<void> setMany(const std::vector<StateValue>& values, const Call& call = {});
    std::future<Result<void>> setManyAsync(const std::vector<StateValue>& values, const Call& call = {});
    void setManyAsync(const std::vector<StateValue>& values, Callback<void> done, const Call& call = {});

    /// Tells the host of a key. `Done` when the host has taken the message; a host does not answer it.
    Result<void> sendInputEvent(ButtonState event, const Value& key, const Call& call = {});
    std::future<Result<void>> sendInputEventAsync(ButtonState event, const Value& key, const Call& call = {});
    void sendInputEventAsync(ButtonState event, const Value& key, Callback<void> done, const Call& call = {});
    /// Sends a command for the host's LEDs. `Done` when the host has taken it and not called it unsupported within
    /// `Options::refusalTime`.
    Result<void> setLed(LedApiCmd command, const Value& value, const Call& call = {});
    std::future<Result<void>> setLedAsync(LedApiCmd command, const Value& value, const Call& call = {});
    void setLedAsync(LedApiCmd command, const Value& value, Callback<void> done, const Call& call = {});

    /// Sends the bytes of any message that has an answer, and gives the bytes of the answer: of a message with the
    /// answer's id and, where the request's tags or items are states, the same states. It is sent once.
    /// `BadArgument` also when the message is empty, cannot be read, or has no answer.
    Result<ByteArray> ask(const ByteArray& message, const Call& call = {});
    std::future<Result<ByteArray>> askAsync(const ByteArray& message, const Call& call = {});
    void askAsync(const ByteArray& message, Callback<ByteArray> done, const Call& call = {});
    /// Sends the bytes of any message. `Done` when the host has taken it.
    Result<void> send(const ByteArray& message, const Call& call = {});
    std::future<Result<void>> sendAsync(const ByteArray& message, const Call& call = {});
    void sendAsync(const ByteArray& message, Callback<void> done, const Call& call = {});
    /// @}

    /// @name Being told
    /// @{

    /// Calls `told` with the value that each state holds and with each change, in order, on a thread of the
    /// subscription's own. Several subscriptions to a state cost one on the wire. After a new link the states are read
    /// again, and told when they have changed.
    Subscription subscribe(const std::vector<StateId>& states, std::function<void(const Change&)> told,
                           Keep keep = Keep::newest(256));
    /// Keys of the host; nothing is told where there is nobody to be told. On the client's thread for callbacks, like
    /// those below.
    Listening onInputEvent(std::function<void(const InputEvent&)> told);
    /// Messages with this id that answer nothing.
    Listening onMessage(MessageId id, std::function<void(const ByteArray&)> told);
    /// The link's state, now and whenever it changes; with a text that says why.
    Listening onLink(std::function<void(LinkState, const std::string& why)> told);
    /// @}

    /// @name Files and connections
    /// One file at a time in each direction, and one tunnel: the wire could not tell two of them apart.
    /// @{

    /// Sends a file and waits until the host says that it holds it: as many bytes, the same checksum. It goes on after
    /// the link was lost, with the chunk that the host acknowledged last, or from the beginning where the host has lost
    /// it.
    ///
    /// `BadArgument`: it cannot be opened or read, has no name or one longer than 255 bytes, a chunk that is no
    /// multiple of four or above 64000 bytes, a time of 0 or less, more than 4294967295 bytes, or another file is on
    /// its way; `Aborted`: the host has ended it, or lost it too often; `Unsupported`; `Unanswered`: no chunk
    /// acknowledged for as long as the patience lasts; `HoldsAnother`: the host holds another number of bytes or
    /// another checksum.
    Result<FileSent> sendFile(const std::string& path, const SendOptions& options = {});
    /// The same without waiting.
    Result<Sending> beginSending(const std::string& path, const SendOptions& options = {});
    /// From where a stream stands to its end; its size is told to the host where the stream can be positioned. It is
    /// read on a thread of the transfer's own; a read that blocks delays the end of the client.
    Result<Sending> beginSending(std::shared_ptr<std::istream> stream, const SendOptions& options);
    /// Takes files that the host sends, until the last copy of what it gives is gone.
    Result<Receiving> receiveFiles(const ReceiveOptions& options);
    /// Listens for TCP connections and carries them over the wire; docs/tunnel.md says what the host has to do.
    /// `BadArgument`: nothing can listen there, no connections, a time of 0 or less, or there is a tunnel already.
    Result<Tunnel> tunnel(const TunnelSettings& settings = {});
    /// @}

    /// What has been counted so far. Takes no lock.
    Statistics statistics() const;

    LinkState linkState() const;
    /// Why the link is as it is: "the host does not answer", for people.
    std::string linkText() const;
    /// Waits until the link is up; false when it is not by then.
    bool waitUntilUp(std::chrono::milliseconds within) const;

    /// Begins to open the link of a client with `Options::opensLater`, and returns. Does nothing to one that has begun
    /// already, or has been closed. Any thread may call.
    void open();

    /// Ends what is under way (`Cancelled`), closes the link and waits for callbacks that are running. Before it
    /// returns, each callback of a request that was begun before it has been called: with the result that was there,
    /// else with `Cancelled`; what other callbacks had yet to be told is dropped. With `Options::events` it calls them
    /// itself.
    ///
    /// Any thread may call, and a callback, too: it does not wait for that one. Where somebody else is closing the
    /// client already, it returns to the callback at once.
    ///
    /// Calls that come later end as `Cancelled`. A callback that is handed in later is called before the request
    /// returns, by its caller; but not one that is handed in by such a callback, which would never end.
    void close();

    /// For the library's own use.
    const std::shared_ptr<Core>& core() const { return inside; }

private:
    std::shared_ptr<Core> inside;
};

} // namespace hostlink
