// The metadata library's error classes. Every failure inside the library is thrown as one of
// these, carrying the thrower's source file and line; nothing returns an error code.
#pragma once

#include <cstdint>
#include <exception>
#include <string>

namespace Metadata {

// Failures caused by the data or the file being processed.
class Exception : public std::exception {
public:
    // Only the last path component of `file` is kept (after the last '\', '/' or ':').
    Exception(std::string message, const char* file, std::uint32_t line);

    const char* what() const noexcept override { return message_.c_str(); }
    const std::string& message() const noexcept { return message_; }
    const std::string& file() const noexcept { return file_; }
    std::uint32_t line() const noexcept { return line_; }

private:
    std::string message_;
    std::string file_;
    std::uint32_t line_;
};

class FileFormatException : public Exception {
public:
    using Exception::Exception;
};

class IOException : public Exception {
public:
    using Exception::Exception;
};

// A file that could not be opened. Its text is "write failed", the same as a write failure:
// callers that need to tell the two apart do so by class. The reason says why, in the system's
// words where it has them ("No such file or directory", "Is a directory"); it may be empty.
class IOOpenError : public IOException {
public:
    IOOpenError(const char* file, std::uint32_t line) : IOException("write failed", file, line) {}
    IOOpenError(std::string reason, const char* file, std::uint32_t line)
        : IOException("write failed", file, line), reason_(std::move(reason))
    {
    }
    const std::string& reason() const noexcept { return reason_; }

private:
    std::string reason_;
};

class IOReadException : public IOException {
public:
    IOReadException(const char* file, std::uint32_t line) : IOException("read failed", file, line) {}
};

class IOWriteException : public IOException {
public:
    IOWriteException(const char* file, std::uint32_t line) : IOException("write failed", file, line) {}
};

class LibTIFFException : public Exception {
public:
    using Exception::Exception;
};

class Win32Exception : public Exception {
public:
    Win32Exception(std::string message, std::uint32_t systemError, const char* file, std::uint32_t line)
        : Exception(std::move(message), file, line), systemError_(systemError) {}
    std::uint32_t systemError() const noexcept { return systemError_; }

private:
    std::uint32_t systemError_;
};

// Failures of the program itself (misuse of an interface, resources exhausted).
class Error : public std::exception {
public:
    // The description, "Error: MESSAGE @ FILE:LINE", keeps the file argument as passed (full path),
    // and is cut to 1023 characters; it is meant for logs.
    Error(std::string message, const char* file, std::uint32_t line);

    const char* what() const noexcept override { return message_.c_str(); }
    const std::string& message() const noexcept { return message_; }
    const std::string& file() const noexcept { return file_; }
    std::uint32_t line() const noexcept { return line_; }
    const std::string& description() const noexcept { return description_; }

private:
    std::string message_;
    std::string description_;
    std::string file_;
    std::uint32_t line_;
};

class LogicError : public Error {
public:
    using Error::Error;
};

class MemoryError : public Error {
public:
    MemoryError(const char* file, std::uint32_t line) : Error("out of memory", file, line) {}
};

// The last path component of `path`: what follows the last '\', '/' or ':'.
std::string sourceFileName(const char* path);

} // namespace Metadata

// Throws an exception of the family with this source file and line appended to the arguments.
#define METADATA_THROW(Type, ...) throw Type(__VA_ARGS__, __FILE__, __LINE__)
#define METADATA_THROW0(Type) throw Type(__FILE__, __LINE__)
