#pragma once

// A folder for each test, and what is in it.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

namespace Quivo::Testing {

/// Every test has a folder of its own, which goes with all that it holds.
class TempFolder : public ::testing::Test {
protected:
    TempFolder() : folder((std::filesystem::temp_directory_path() / "quivo-XXXXXX").string()) {
        if (!::mkdtemp(folder.data())) throw std::runtime_error("no temporary folder");
        path = folder + "/image.tif";
    }
    ~TempFolder() override { std::filesystem::remove_all(folder); }

    std::set<std::string> list() const {
        std::set<std::string> names;
        for (auto const& entry : std::filesystem::directory_iterator(folder))
            names.insert(entry.path().filename());
        return names;
    }

    std::string folder;
    std::string path;
};

inline std::string slurp(std::string const& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}
inline void spill(std::string const& path, std::string const& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

}  // namespace Quivo::Testing
