// Scratch, tables, players and warnings at their start.
#include "process_state.h"

#include "host_state.h"
#include "player_sets.h"

#if defined(__SANITIZE_ADDRESS__)
#define WITH_FENCE 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define WITH_FENCE 1
#endif
#endif
#ifdef WITH_FENCE
#include <sanitizer/asan_interface.h>
#else
#define ASAN_POISON_MEMORY_REGION(p, n) (static_cast<void>(p), static_cast<void>(n))
#define ASAN_UNPOISON_MEMORY_REGION(p, n) (static_cast<void>(p), static_cast<void>(n))
#endif

extern "C" void ext_main(void *);

void renew_process_state(bool with_scratch, bool with_weights, unsigned players)
{
    static const bool linked = (host::link(ext_main), true);
    static_cast<void>(linked);
    host::release_everything(); // also scratch that has been outgrown, which nobody points to
    k_rnd_init_pool();
    temp1 = temp2 = temp3 = temp4 = nullptr;
    temp_size = 0;
    if (with_scratch) vorb_size_scratch(4096);
    k_sampfilt_tab = nullptr;
    if (with_weights) k_make_sampfilt_tab();
    const std::vector<player_set> sets = player_sets();
    vorb_players = sets[players % sets.size()].players;
    vorb_error_count = vorb_limitwarning_count = 0;
    vorb_error_lasttime = vorb_limitwarningr_lasttime = vorb_error_silent = 0;
}

template <class Mark>
static void mark_tail(long from, Mark mark)
{
    const long size = temp2 - temp1;
    for (double *block : {temp1, temp2, temp3, temp4})
        if (from < size) mark(block + from, static_cast<size_t>(size - from) * sizeof(double));
}

scratch_fence::scratch_fence(long frames) : from(frames)
{
    mark_tail(from, [](double *tail, size_t size) { ASAN_POISON_MEMORY_REGION(tail, size); });
}

scratch_fence::~scratch_fence()
{
    mark_tail(from, [](double *tail, size_t size) { ASAN_UNPOISON_MEMORY_REGION(tail, size); });
}
