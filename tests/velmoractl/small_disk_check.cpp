// Places a file on a disk that has no room for it, and writes lines of the record of deliveries to
// one that is full: small_disk_check FOLDER. The disk (256 KiB) is made by small_disk_test.py.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "monitor/delivery_output.h"
#include "port/delivery_record.h"
#include "velmoractl/setup/placed_file.h"

namespace fs = std::filesystem;

namespace {

std::string contentOf(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// A file that cannot be placed leaves the existing one.
bool keepsWhatIsThere(const fs::path& folder) {
    const fs::path place = folder / "target";
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
    const bool kept = contentOf(place) == old;
    const auto files = std::distance(fs::directory_iterator(folder), fs::directory_iterator());
    std::printf("refused %d, kept %d, files %d\n", refused, kept, static_cast<int>(files));
    fs::remove(place);
    return refused && kept && files == 1;
}

/// A line that does not fit is dropped as a whole; the next one that fits follows the first.
bool recordHasWholeLines(const fs::path& folder) {
    constexpr std::uint32_t kMiB = 1;
    const std::string first = std::string(4000, '1') + "\n";
    const std::string second = std::string(4000, '2') + "\n";
    const std::string record = folder.string();
    const fs::path newest = folder / velmora::deliveryFileName(0);
    const bool begun = velmora::appendToRecord(record, first, kMiB);
    const fs::path filler = folder / "filler";
    std::ofstream rest(filler, std::ios::binary);
    while (rest << std::string(4096, 'f') && rest.flush())
        continue;
    rest.close();
    const bool lost = !velmora::appendToRecord(record, second, kMiB);
    const bool whole = contentOf(newest) == first;
    fs::remove(filler);
    const bool goesOn =
        velmora::appendToRecord(record, second, kMiB) && contentOf(newest) == first + second;
    std::printf("begun %d, lost %d, whole %d, goes on %d\n", begun, lost, whole, goesOn);
    return begun && lost && whole && goesOn;
}

}  // namespace

int main(int count, char** words) {
    if (count != 2) return 2;
    const bool kept = keepsWhatIsThere(words[1]);
    return recordHasWholeLines(words[1]) && kept ? 0 : 1;
}
