// Runs a fuzz target without libFuzzer: every regular file of the directories named (or the files
// themselves) once, in name order. A directory that does not exist is skipped, but no input at
// all is a failure, so a lost corpus cannot pass unnoticed.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv) {
    namespace fs = std::filesystem;
    std::vector<fs::path> files;
    for (int i = 1; i < argc; ++i) {
        const fs::path arg(argv[i]);
        if (fs::is_directory(arg)) {
            for (const fs::directory_entry& entry : fs::directory_iterator(arg))
                if (entry.is_regular_file()) files.push_back(entry.path());
        } else if (fs::is_regular_file(arg)) {
            files.push_back(arg);
        }
    }
    std::sort(files.begin(), files.end());
    for (const fs::path& file : files) {
        std::ifstream in(file, std::ios::binary);
        const std::vector<uint8_t> data((std::istreambuf_iterator<char>(in)),
                                        std::istreambuf_iterator<char>());
        // Named first: an abort inside the target then points at its input.
        std::fprintf(stderr, "%s\n", file.c_str());
        LLVMFuzzerTestOneInput(data.data(), data.size());
    }
    std::printf("%zu inputs replayed\n", files.size());
    return files.empty() ? 1 : 0;
}
