// A fresh session of the host for each input of the fuzzer, and what its end must leave.
#include "between_calls.h"
#include "fuzz_session.h"
#include "process_state.h"
#include "target.h"

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    host::reset();
    interfere_after(0, {});
    byte_reader bytes(data, size);
    const unsigned start = bytes.byte();
    renew_process_state(!(start & 2), !(start & 4), start >> 3);
    const long failing = start >> 6; // of the first instance's allocations
    host::fail_allocation(failing);
    fuzz_session(bytes, start & 1, failing > 0).play();
    host::reset();
    for (const std::string &fault : host::take_faults()) broken("in the end: " + fault);
    return 0;
}
