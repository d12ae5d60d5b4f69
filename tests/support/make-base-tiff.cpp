// make-base-tiff FILE [II|MM]: writes a valid 1x1 grey TIFF that other tools can add metadata to.
#include "TiffBuilder.h"

#include <cstring>
#include <iostream>

int main(int argc, char** argv)
{
    if (argc < 2 || argc > 3 || (argc == 3 && std::strcmp(argv[2], "II") != 0 && std::strcmp(argv[2], "MM") != 0)) {
        std::cerr << "usage: make-base-tiff FILE [II|MM]\n";
        return 2;
    }
    const bool big = argc == 3 && std::strcmp(argv[2], "MM") == 0;
    TestSupport::writeFile(argv[1], TestSupport::minimalTiff(big));
    return 0;
}
