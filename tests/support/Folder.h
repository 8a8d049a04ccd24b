/// @file
/// A folder for what a test writes.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>

#include <gtest/gtest.h>

/// A new folder, which goes with its object and all that is in it. Not named after the process: in every rig its number
/// is the same.
class Folder {
public:
    Folder() {
        std::string name = testing::TempDir() + "hostlink-XXXXXX";
        if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("no folder for the test");
        path = name;
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    ~Folder() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }

    std::string path;
};
