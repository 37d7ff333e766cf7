// What the object keeps for the whole process, set back for each session of the fuzzer.
#pragma once

/// With the scratch at one size, so that no session depends on those before it, or with none;
/// `players` picks one of the sets that render fogs, or none.
void renew_process_state(bool with_scratch, bool with_weights, unsigned players);

/// While it lives, the scratch beyond so many frames must not be touched.
class scratch_fence {
public:
    explicit scratch_fence(long frames);
    ~scratch_fence();
    scratch_fence(const scratch_fence &) = delete;

private:
    const long from;
};
