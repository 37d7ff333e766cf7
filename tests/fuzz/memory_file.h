// Bytes under the name of a file, without a disk.
#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

class memory_file {
public:
    memory_file(const std::uint8_t *data, std::size_t size)
        : descriptor(memfd_create("fuzz", MFD_CLOEXEC))
    {
        if (descriptor < 0 || write(descriptor, data, size) != static_cast<ssize_t>(size))
            throw std::runtime_error("no memory for a file");
    }
    ~memory_file() { close(descriptor); }
    memory_file(const memory_file &) = delete;

    std::string path() const { return "/proc/self/fd/" + std::to_string(descriptor); }

private:
    const int descriptor;
};
