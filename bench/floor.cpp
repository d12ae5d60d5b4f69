// The physical floor of reading metadata: open each file, read its first 64 KiB, close it.
// Usage: bench_floor FILE...   (prints the number of bytes read, so the work is not optimised away)
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>
#include <vector>

int main(int argc, char** argv)
{
    std::vector<char> buffer(64 * 1024);
    unsigned long long total = 0;
    for (int i = 1; i < argc; ++i) {
        const int fd = open(argv[i], O_RDONLY);
        if (fd < 0) {
            std::perror(argv[i]);
            return 1;
        }
        const ssize_t got = read(fd, buffer.data(), buffer.size());
        total += got > 0 ? static_cast<unsigned long long>(got) : 0;
        close(fd);
    }
    std::printf("%llu\n", total);
    return 0;
}
