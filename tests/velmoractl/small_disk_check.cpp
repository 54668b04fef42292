// Places a file on a disk that has no room for it: small_disk_check FOLDER. The disk (256 KiB) is
// made by small_disk_test.py.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "velmoractl/setup/placed_file.h"

namespace fs = std::filesystem;

int main(int count, char** words) {
    if (count != 2) return 2;
    const fs::path place = fs::path(words[1]) / "target";
    const fs::path source = fs::temp_directory_path() / "velmora-small-disk-source";
    const std::string old(100 * 1024, 'o');
    std::ofstream(place, std::ios::binary) << old;
    std::ofstream(source, std::ios::binary) << std::string(200 * 1024, 'n');
    bool refused = false;
    try {
        velmora::ctl::placeFile(source.string(), place.string());
    } catch (const std::exception& error) {
        std::puts(error.what());
        refused = true;
    }
    fs::remove(source);
    std::ifstream file(place, std::ios::binary);
    const bool kept = std::string(std::istreambuf_iterator<char>(file), {}) == old;
    const auto files = std::distance(fs::directory_iterator(words[1]), fs::directory_iterator());
    std::printf("refused %d, kept %d, files %d\n", refused, kept, static_cast<int>(files));
    return refused && kept && files == 1 ? 0 : 1;
}
