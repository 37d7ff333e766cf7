// A buffer changes between two calls of one block: after the object has asked for it and before it
// locks it, or asks for its length. Whatever comes of it, nothing but the sample or silence is
// heard, and the next fog sounds.
#include "between_calls.h"
#include "fault_session.h"
#include "host_state.h"

#include <cmath>

namespace {

using ::testing::Each;

using written_between_calls = fault_session;

FOR_EVERY_SOURCE(written_between_calls);

constexpr long usual_frames = 8000;

/// What the buffer becomes; no channels: it goes. Those of the source where they are -1.
struct change {
    long channels, frames;
    double rate;
    bool refuses_locks = false;
};

void PrintTo(const change &c, std::ostream *out)
{
    *out << c.channels << " channels, " << c.frames << " frames, " << c.rate << " Hz";
}

const change changes[] = {
    {-1, 0, 44100},
    {-1, 1, 44100},
    {-1, 10, 44100},
    {-1, 200, 44100},
    {-1, usual_frames, 88200},
    {-1, usual_frames, 0},
    {-1, usual_frames, -1},
    {-1, usual_frames, std::nan("")},
    {1, usual_frames, 44100},
    {2, usual_frames, 44100},
    {3, usual_frames, 44100},
    {4, usual_frames, 44100},
    {64, 20, 44100},
    {-1, usual_frames, 44100, true},
    {0, 0, 0},
};

/// A host changes no buffer that is locked, and frees none that a routine may have in hand.
bool make(const change &c, long usual_channels, bool may_delete)
{
    const host::buffer &now = *host::now.buffers.at("sample1");
    if (now.locks > 0) return false;
    if (c.channels == 0) {
        if (may_delete) host::delete_buffer("sample1");
        return may_delete;
    }
    const long channels = c.channels < 0 ? usual_channels : c.channels;
    host::set_buffer("sample1", channels, c.rate,
                     std::vector<float>(static_cast<std::size_t>(channels * c.frames), 1));
    host::refuse_locks("sample1", c.refuses_locks);
    return true;
}

TEST_P(written_between_calls, a_sounding_and_a_new_fog_are_heard_or_silent_and_the_next_one_sounds)
{
    t_object *x = player(source().layout);
    for (const change &c : changes) {
        long call = 0, made = 0;
        for (bool asked = true; asked; ++call) {
            SCOPED_TRACE(::testing::Message()
                         << ::testing::PrintToString(c) << " before call " << call + 1);
            fill(1, usual_frames);
            host::send(x, 0, "reset, bang");
            host::run();
            asked = false;
            interfere_after(call + 1, [&](bool may_delete) {
                asked = true;
                made += make(c, source().channels, may_delete);
            });
            host::send(x, 0, "bang");
            for (const signal &out : play(x, 1, 64))
                for (const double v : out) { // none, one or both of the fogs
                    ASSERT_NEAR(v, std::round(v), 1e-5);
                    ASSERT_NEAR(v, 1, 1 + 1e-5);
                }
            interfere_after(0, {});
            EXPECT_THAT(console(), Each("vorb_read: no samples, goto zero"));
            fill(1, usual_frames);
            host::refuse_locks("sample1", false);
            host::send(x, 0, "reset, bang");
            EXPECT_NEAR(block(x)[63], 1, near_one);
            EXPECT_THAT(block(x), sounds_at(1));
            if (HasFailure()) return;
        }
        EXPECT_GT(call, 8) << "calls were met";
        EXPECT_GE(made, 2) << "changes were made";
    }
}

} // namespace
