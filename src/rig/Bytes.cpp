#include "Bytes.h"

#include <cerrno>
#include <cstddef>

namespace busrig {

namespace {

struct ErrnoName {
    int number;
    const char* name;
};

constexpr ErrnoName errnoNames[] = {
    {EPERM, "EPERM"},     {ENOENT, "ENOENT"},       {EINTR, "EINTR"},         {EIO, "EIO"},
    {ENXIO, "ENXIO"},     {EAGAIN, "EAGAIN"},       {ENOMEM, "ENOMEM"},       {EACCES, "EACCES"},
    {EFAULT, "EFAULT"},   {EBUSY, "EBUSY"},         {ENODEV, "ENODEV"},       {EINVAL, "EINVAL"},
    {ENOTTY, "ENOTTY"},   {EROFS, "EROFS"},         {EPROTO, "EPROTO"},       {EMSGSIZE, "EMSGSIZE"},
    {ENOBUFS, "ENOBUFS"}, {ESHUTDOWN, "ESHUTDOWN"}, {ETIMEDOUT, "ETIMEDOUT"}, {EREMOTEIO, "EREMOTEIO"},
};

int digit(char character) {
    if (character >= '0' && character <= '9') return character - '0';
    if (character >= 'a' && character <= 'f') return character - 'a' + 10;
    if (character >= 'A' && character <= 'F') return character - 'A' + 10;
    return -1;
}

} // namespace

std::string toHex(const Bytes& bytes) {
    static constexpr char digits[] = "0123456789abcdef";
    if (bytes.empty()) return "-";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const unsigned char byte : bytes) {
        text += digits[byte >> 4];
        text += digits[byte & 0x0F];
    }
    return text;
}

std::optional<Bytes> fromHex(const std::string& text) {
    if (text == "-") return Bytes{};
    if (text.size() % 2 != 0) return std::nullopt;
    Bytes bytes;
    for (size_t i = 0; i < text.size(); i += 2) {
        const int high = digit(text[i]);
        const int low = digit(text[i + 1]);
        if (high < 0 || low < 0) return std::nullopt;
        bytes.push_back(static_cast<unsigned char>(high * 16 + low));
    }
    return bytes;
}

std::string errnoName(int number) {
    for (const ErrnoName& entry : errnoNames) {
        if (entry.number == number) return entry.name;
    }
    return std::to_string(number);
}

std::optional<int> errnoByName(const std::string& name) {
    for (const ErrnoName& entry : errnoNames) {
        if (name == entry.name) return entry.number;
    }
    return std::nullopt;
}

} // namespace busrig
