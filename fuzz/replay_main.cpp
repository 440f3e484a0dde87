// Runs a fuzz target over the files of a folder, where there is no fuzzer to drive it.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

namespace
{

using Bytes = std::vector<std::uint8_t>;

std::vector<std::filesystem::path> filesIn(const std::filesystem::path &folder)
{
    std::vector<std::filesystem::path> files;
    std::error_code error;
    for (const auto &entry : std::filesystem::directory_iterator(folder, error)) {
        if (entry.is_regular_file()) {
            files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

bool readFile(const std::filesystem::path &path, Bytes *bytes)
{
    std::ifstream file(path, std::ios::binary);
    bytes->assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    return file.good() || file.eof();
}

/// In a buffer of just that size, so that AddressSanitizer sees a read behind its end.
void runStartOf(const Bytes &bytes, std::size_t size)
{
    const Bytes start(bytes.begin(), bytes.begin() + std::ptrdiff_t(size));
    LLVMFuzzerTestOneInput(start.data(), start.size());
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc != 2) {
        std::fprintf(stderr, "Usage: %s FOLDER\n", argv[0]);
        return 2;
    }
    const std::vector<std::filesystem::path> files = filesIn(argv[1]);
    if (files.empty()) {
        std::fprintf(stderr, "There are no inputs in %s\n", argv[1]);
        return 1;
    }
    std::size_t inputs = 0;
    for (const std::filesystem::path &path : files) {
        Bytes bytes;
        if (!readFile(path, &bytes)) {
            std::fprintf(stderr, "%s cannot be read\n", path.string().c_str());
            return 1;
        }
        // Named beforehand, so that a failure tells its input.
        std::printf("%s\n", path.filename().string().c_str());
        std::fflush(stdout);
        // What a network cuts off is cut off anywhere.
        const std::size_t size = bytes.size();
        for (const std::size_t part :
             {size, size - size / 4, size / 2, size - std::min<std::size_t>(size, 1)}) {
            runStartOf(bytes, part);
            ++inputs;
        }
    }
    std::printf("%zu inputs from %zu files\n", inputs, files.size());
    return 0;
}
