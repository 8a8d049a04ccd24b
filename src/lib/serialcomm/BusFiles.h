/// @file
/// The device files of buses that are open in this process.
#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <tuple>
#include <utility>

#include <sys/types.h>

#include "Descriptor.h"

namespace serialcomm {

/// One open device file of a bus, for every object that opened the same device with the same settings. Closed with the
/// last of them. Constant, so any thread may use it.
class BusFile {
public:
    explicit BusFile(Descriptor opened);
    int fd() const { return file.get(); }
    /// Whether the path leads to this file. A device that was unplugged and plugged in again is another file, under the
    /// same name or not.
    bool isAt(const std::string& path) const;
    bool isSameAs(const BusFile& other) const { return identity && identity == other.identity; }

private:
    using Identity = std::tuple<dev_t, ino_t, dev_t>; // file system, file, and the device that it stands for

    const Descriptor file;
    const std::optional<Identity> identity; // none: it cannot be told, and the file is not shared
};

/// Finds an open file by what was asked for, so that a program that opens a device again and again holds one
/// descriptor. One for the process, never destroyed: a bus may be opened and closed while the process ends. Any thread.
class BusFiles {
public:
    /// Path of the device, and the settings as text.
    using Key = std::pair<std::string, std::string>;

    static BusFiles& instance();

    /// The file that is open under this key, if the path still leads to it; else none.
    std::shared_ptr<const BusFile> find(const Key& key);

    /// From now on `opened` is the file of this key, unless another thread was faster with the same file; that one is
    /// returned then and `opened` is closed.
    std::shared_ptr<const BusFile> share(const Key& key, Descriptor opened);

    /// The file is of no use: nobody finds it any more. Who has it keeps it.
    void forget(const Key& key, const std::shared_ptr<const BusFile>& useless);

private:
    std::shared_ptr<const BusFile> current(const Key& key);

    std::mutex mutex;                                  // guards files; no system call is made under it
    std::map<Key, std::weak_ptr<const BusFile>> files; // those that nobody uses any more go when another one comes
};

} // namespace serialcomm
