// What tests of the Pd adapter share: how its objects are typed, and an end without faults.
#pragma once

#include "fake_pd.h"
#include "host_state.h"

#include <gmock/gmock.h>

inline vorb_pd::atom word(const char *text) { return {text, 0}; }
inline vorb_pd::atom num(double v) { return {nullptr, float(v)}; }

/// One fog after another from a place in the array "a", at full level and without an envelope.
inline std::vector<vorb_pd::atom> box(double outlets, double offset_ms, double maxfogs = 20)
{
    return {num(outlets), word("a"), num(maxfogs), num(offset_ms), num(1),
            num(0),       num(1),    num(0),       num(1e6)};
}

class pd_layer : public testing::Test {
protected:
    static void SetUpTestSuite() { vorb_pd::load(); }
    pd_layer() { fake::now = {}; }
    ~pd_layer() override { EXPECT_THAT(host::take_faults(), testing::IsEmpty()); }
};
