// A plain main for the fuzz targets: feeds every file given (or every file of a folder given)
// to the target once, so that inputs found by fuzzing, and the sample files, run in the ordinary
// tests and under the sanitizer build without libFuzzer.
// Usage: fuzz_replay_TARGET FILE-OR-FOLDER...
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <new>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fs = std::filesystem;

// As under libFuzzer's memory limit, one allocation larger than this is a finding: a size read
// from the file and trusted. No input of ours comes near it.
constexpr std::size_t MaxAllocation = std::size_t{2} << 30;

void* operator new(std::size_t size)
{
    if (size > MaxAllocation) {
        std::fprintf(stderr, "an allocation of %zu bytes\n", size);
        std::abort();
    }
    if (void* p = std::malloc(size == 0 ? 1 : size)) {
        return p;
    }
    throw std::bad_alloc();
}

void* operator new[](std::size_t size)
{
    return operator new(size);
}

// The forms that return null instead of throwing (std::stable_sort's buffer) come from the same
// heap, so that every delete below frees what they gave.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    try {
        return operator new(size);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept
{
    return operator new(size, std::nothrow);
}

void operator delete(void* p, const std::nothrow_t&) noexcept
{
    std::free(p);
}

void operator delete[](void* p, const std::nothrow_t&) noexcept
{
    std::free(p);
}

void operator delete(void* p) noexcept
{
    std::free(p);
}

void operator delete[](void* p) noexcept
{
    std::free(p);
}

void operator delete(void* p, std::size_t) noexcept
{
    std::free(p);
}

void operator delete[](void* p, std::size_t) noexcept
{
    std::free(p);
}

int main(int argc, char** argv)
{
    std::vector<fs::path> inputs;
    for (int i = 1; i < argc; ++i) {
        const fs::path given = argv[i];
        std::error_code ec;
        if (fs::is_directory(given, ec)) {
            for (const auto& entry : fs::directory_iterator(given)) {
                if (entry.is_regular_file()) {
                    inputs.push_back(entry.path());
                }
            }
        } else if (fs::is_regular_file(given, ec)) {
            inputs.push_back(given);
        } else {
            std::fprintf(stderr, "%s: no such file or folder\n", argv[i]);
            return 2;
        }
    }
    std::sort(inputs.begin(), inputs.end());
    if (inputs.empty()) {
        std::fprintf(stderr, "nothing to replay\n");
        return 2;
    }
    for (const fs::path& input : inputs) {
        std::ifstream in(input, std::ios::binary);
        const std::vector<std::uint8_t> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        // A crash, a sanitizer report or an abort from the target's own checks ends the run here,
        // naming the input last started.
        std::fprintf(stderr, "%s\n", input.string().c_str());
        LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    }
    std::printf("%zu inputs replayed\n", inputs.size());
    return 0;
}
