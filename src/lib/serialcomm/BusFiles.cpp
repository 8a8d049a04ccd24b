#include "BusFiles.h"

#include <array>
#include <iterator>
#include <new>

#include <sys/stat.h>

namespace serialcomm {

namespace {

using Identity = std::optional<std::tuple<dev_t, ino_t, dev_t>>;

Identity identityOf(int statResult, const struct stat& status) {
    if (statResult != 0) return std::nullopt;
    return std::tuple(status.st_dev, status.st_ino, status.st_rdev);
}

Identity identityOf(const std::string& path) {
    struct stat status {};
    const int result = ::stat(path.c_str(), &status);
    return identityOf(result, status);
}

Identity identityOf(const Descriptor& file) {
    struct stat status {};
    const int result = ::fstat(file.get(), &status);
    return identityOf(result, status);
}

} // namespace

BusFile::BusFile(Descriptor opened) : file(std::move(opened)), identity(identityOf(file)) {}

bool BusFile::isAt(const std::string& path) const {
    return identity && identity == identityOf(path);
}

// In storage of its own: what is never given back should not come from the heap.
BusFiles& BusFiles::instance() {
    alignas(BusFiles) static std::array<unsigned char, sizeof(BusFiles)> storage;
    static BusFiles& files = *new (storage.data()) BusFiles;
    return files;
}

std::shared_ptr<const BusFile> BusFiles::find(const Key& key) {
    std::shared_ptr<const BusFile> found = current(key);
    return found && found->isAt(key.first) ? found : nullptr;
}

std::shared_ptr<const BusFile> BusFiles::current(const Key& key) {
    const std::lock_guard<std::mutex> lock(mutex);
    const auto entry = files.find(key);
    return entry == files.end() ? nullptr : entry->second.lock();
}

std::shared_ptr<const BusFile> BusFiles::share(const Key& key, Descriptor opened) {
    auto mine = std::make_shared<const BusFile>(std::move(opened));
    const std::lock_guard<std::mutex> lock(mutex);
    for (auto entry = files.begin(); entry != files.end();) {
        entry = entry->second.expired() ? files.erase(entry) : std::next(entry);
    }
    std::weak_ptr<const BusFile>& entry = files[key];
    std::shared_ptr<const BusFile> theirs = entry.lock();
    if (theirs && theirs->isSameAs(*mine)) return theirs;
    entry = mine;
    return mine;
}

void BusFiles::forget(const Key& key, const std::shared_ptr<const BusFile>& useless) {
    const std::lock_guard<std::mutex> lock(mutex);
    const auto entry = files.find(key);
    if (entry != files.end() && entry->second.lock() == useless) files.erase(entry);
}

} // namespace serialcomm
