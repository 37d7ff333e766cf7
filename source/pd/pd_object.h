// The object as Pd holds it.
#pragma once

#include "m_pd.h"
extern "C" {
#include "m_imp.h"
}
#include "pd_bridge.h"

static_assert(sizeof(t_sample) == sizeof(float) && sizeof(t_float) == sizeof(float));

struct k_vorb_pd;

/// A number or a message, but no signal, comes in here.
struct k_vorb_inlet {
    t_pd pd;
    k_vorb_pd *owner;
    int number;
};

struct k_vorb_pd {
    t_object object;
    t_float no_constant;      // of the left inlet, whose numbers are messages
    t_float *offset_constant; // of the second one: Pd tells nobody when it writes a number there
    t_canvas *patch;
    t_outlet *integers;
    host::instance *instance;
    k_vorb_inlet inlets[7]; // behind the two for signals
    const t_sample *ins[2]; // null: nothing is plugged in
    t_sample *outs[10];
    int frames;
};

/// Numbers that arrived at the second inlet since the last message or block.
void k_vorb_poll_offset(k_vorb_pd *x);

void k_vorb_dsp(k_vorb_pd *x, t_signal **signals);
