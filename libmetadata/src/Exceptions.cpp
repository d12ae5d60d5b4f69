#include "Metadata/Exceptions.h"

#include <cstdio>
#include <cstring>

namespace Metadata {

std::string sourceFileName(const char* path)
{
    if (path == nullptr) {
        return {};
    }
    const char* name = path;
    for (const char* p = path; *p != '\0'; ++p) {
        if (*p == '\\' || *p == '/' || *p == ':') {
            name = p + 1;
        }
    }
    return name;
}

Exception::Exception(std::string message, const char* file, std::uint32_t line)
    : message_(std::move(message)), file_(sourceFileName(file)), line_(line)
{
}

Error::Error(std::string message, const char* file, std::uint32_t line)
    : message_(std::move(message)), file_(sourceFileName(file)), line_(line)
{
    char buffer[1024];
    std::snprintf(buffer, sizeof buffer, "Error: %s @ %s:%u", message_.c_str(), file ? file : "",
                  static_cast<unsigned>(line));
    description_ = buffer;
}

} // namespace Metadata
