// A fog that starts while a message arrives may take old values with new ones. It sounds odd, but
// it is sound.
#include "session.h"

#include <algorithm>

namespace {

struct change {
    const char *from, *to;
};

class mixture : public session {
protected:
    /// Where a message has stored what it says, and the derived values are still the former ones.
    static void tell_half(vorb *x, const char *words)
    {
        send(x, 0, words);
        x->inputs.changed = 0;
    }

    static double loudest(vorb *x, long blocks)
    {
        double most = 0;
        for (long k = 0; k < blocks; ++k)
            for (const double v : block(x)) {
                if (!std::isfinite(v)) return v;
                most = std::max(most, std::fabs(v));
            }
        return most;
    }
};

TEST_F(mixture, of_two_messages_is_no_louder_than_the_sample)
{
    mono_buffer("sample1", 44100, [](long) { return 1; });
    vorb *x = create("2 sample1 1 20 1 0 1 0 20 0");
    host::start_audio();
    const change changes[] = {
        {"tex 0", "tex 10"},          {"tex 10", "tex 0"},
        {"atten 0", "atten 10"},      {"atten 10", "atten 0"},
        {"tex 1", "tex 20"},          {"atten 1", "atten 20"},
        {"bw 0", "bw 400"},           {"bw 400", "bw 0"},
        {"debatt 1", "debatt 30"},    {"tex 0, atten 0", "env 40 1 50 2 3"},
        {"env 40 1 50 2 3", "tex 0"}, {"transp 1", "transp 0"},
        {"tex 1e38", "tex 10"},       {"atten 1e38", "atten 10"},
    };
    for (const change &c : changes) {
        send(x, 0, "reset, tex 0, debatt 20, atten 0, bw 0, transp 1");
        send(x, 0, c.from);
        send(x, 0, "bang, reset"); // derives the values
        tell_half(x, c.to);
        send(x, 0, "bang");
        EXPECT_LT(loudest(x, 60), 1.1) << c.from << ", then " << c.to;
    }
}

} // namespace
