// Damaged sound files: they are read, or refused with a reason.
#include "memory_file.h"
#include "sound_reader.h"
#include "target.h"

#include <new>

static void check(const sound &read)
{
    const auto channels = static_cast<std::size_t>(read.channels);
    if (read.channels < 1 || read.samples.empty() || read.samples.size() % channels)
        broken("a sound without whole frames");
}

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const memory_file file(data, size);
    try {
        check(read_sound(file.path()));
    } catch (const std::runtime_error &reason) {
        if (!*reason.what()) broken("refused without a reason");
    }
    return 0;
}
