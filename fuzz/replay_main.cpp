// Runs a fuzz target over stored inputs, without a fuzzer: replay_TARGET FILE|FOLDER...
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <unistd.h>

namespace fs = std::filesystem;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

std::vector<fs::path> filesOf(const fs::path& path) {
    if (!fs::is_directory(path)) return {path};
    std::vector<fs::path> files;
    for (const fs::directory_entry& entry : fs::directory_iterator(path)) files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

// Announced by a plain write: a claim that does not hold ends the process, and the last line names the input.
void announce(const fs::path& path) {
    const std::string line = path.string() + "\n";
    if (write(STDOUT_FILENO, line.data(), line.size()) < 0) throw std::runtime_error("cannot write");
}

// In a heap block of exactly the input's size, so that a sanitizer sees a read past its end.
void replay(const fs::path& path) {
    announce(path);
    std::ifstream file(path, std::ios::binary);
    if (!file) throw std::runtime_error("cannot read " + path.string());
    const std::vector<char> content{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    const std::unique_ptr<uint8_t[]> block(new uint8_t[content.size()]);
    std::copy(content.begin(), content.end(), block.get());
    LLVMFuzzerTestOneInput(block.get(), content.size());
}

} // namespace

int main(int argc, char** argv) try {
    size_t count = 0;
    for (int i = 1; i < argc; ++i) {
        for (const fs::path& path : filesOf(argv[i])) {
            replay(path);
            ++count;
        }
    }
    std::printf("%zu inputs\n", count);
    return count > 0 ? 0 : 1;
} catch (const std::exception& failure) {
    std::fprintf(stderr, "%s\n", failure.what());
    return 1;
}
