// A temporary directory of this test process alone, removed when the process ends. Test programs
// run side by side under ctest; files named alike in the shared temporary directory would be
// overwritten by another program between writing and reading.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <stdexcept>
#include <string>

inline const std::string& scratchDir() {
    struct Dir {
        std::string path;
        Dir() {
            std::string pattern = ::testing::TempDir() + "vxsensor-test-XXXXXX";
            if (::mkdtemp(pattern.data()) == nullptr) {
                throw std::runtime_error("cannot make a scratch directory from " + pattern);
            }
            path = pattern + "/";
        }
        ~Dir() {
            std::error_code ignored;
            std::filesystem::remove_all(path, ignored);
        }
    };
    static const Dir dir;
    return dir.path;
}
