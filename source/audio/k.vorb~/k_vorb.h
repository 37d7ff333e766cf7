// The object's records and whatever crosses its files.
//
// Units: envelope times are seconds, read positions milliseconds (pos_ms, offset) or frames
// (prev_pos), frequencies Hz, amplitudes linear. Audio-thread functions are marked [audio].
#pragma once

#include "ext.h"

#include "ext_obex.h" // the SDK's headers rely on those before

#include "z_dsp.h"

#include "ext_buffer.h"
#include "k_shared.h"
#include "k_utils.h"

#include <cstddef>

enum { vorb_slots = 10 };        // gain slots: outputs 1 to 8, aux 1, aux 2
enum { vorb_max_sources = 4 };   // most source channels of one fog
enum { vorb_pool_size = 100 };   // most fogs of one instance
enum { vorb_signal_inlets = 9 }; // all inlets take signals; only the first two listen to them
enum { amp_inlet = 4, debatt_inlet = 6 };

/// What new fogs copy: the current parameters and everything derived from them. What is shared may
/// be set while audio plays: a fog that starts meanwhile may mix old values with new ones.
struct inputs {
    t_symbol *table;
    k_shared<t_buffer_ref *> bufref;
    k_shared<double> offset; // ms, with the latency of the time it was set
    k_shared<double> trans;
    k_shared<double> bw; // Hz
    k_shared<double> amps[vorb_slots];
    k_shared<double> gain;
    k_shared<double> tex, debatt, atten; // s
    k_shared<double> lp1, lp1m;          // lowpass coefficient a, and a - 1
    k_shared<double> lp2;                // halvings of a per second
    k_shared<std::int64_t> debatt_all;   // debatt follows the sample's length
    k_shared<std::int64_t> changed;      // the derived values are stale; set after the values
    std::int64_t sig_f0, sig_offset;
    k_shared<double> autoenv;     // F0 periods
    k_shared<double> autoenv_max; // s, 0 for none
    k_shared<std::int64_t> limit_low, limit_high;
    std::int64_t channels;

    // Derived by vorb_update.
    double bw_pi, tex_w, atten_w, bw_grow, tex_step, atten_step;

    // Rates.
    double vs;
    k_shared<double> sr, nyquist, sp;
    double pi, twopi, pi_sp;
    k_shared<double> vs_ms, latency_ms;

    // Derived by vorb_update too, and copied into every new fog in one piece.
    double fog_amps[vorb_slots];
    double bw_decay, tex_cos2, atten_cos2;

    // 0 until audio starts: a fog started earlier is silent if it moves.
    k_shared<double> vs_inv, vs8;
    k_shared<double> phase; // of the F0 phasor, in Hz times samples: 0 up to sr
};

/// A fog's reading head.
struct vorb_fogread {
    t_buffer_ref *bufref;
    double vs_inv;
    double prev_pos; // frames; until the first block is read, a number of milliseconds
    double vs8;      // the most frames that the head may move in one block
    double frames_per_ms;
    double pos_ms, pos_step_ms; // ms of the sample: now, and per block
    double lp_y[vorb_max_sources];
    double lp_a, lp_am1, lp_k;
};

/// One grain.
struct vorb_fog {
    vorb_fog *next; // in the free or the used list
    std::int64_t channels;
    double gains[vorb_slots];
    double bw_decay, tex_cos2, atten_cos2;
    std::int64_t sustain; // samples to play, as are the other counts
    double amp;
    std::int64_t tex_count;
    double tex_y1, tex_y2;
    std::int64_t atten_count;
    double atten_y1, atten_y2;
    vorb_fogread reader;
    std::int64_t delay; // samples to skip before the fog sounds
};

/// The first `maxfogs` fogs, each on one of the two lists. Whatever changes the lists (a trigger,
/// `reset`, `maxfogs`, a block of audio) the host runs one after another; the counts alone may be
/// read at any time.
struct vorb_pool {
    vorb_fog *free;
    vorb_fog *used; // newest first
    k_shared<std::int64_t> maxfogs;
    k_shared<std::int64_t> nfree;
    vorb_fog fogs[vorb_pool_size];
};

struct vorb_bufref_entry {
    t_symbol *name;
    t_buffer_ref *ref;
    vorb_bufref_entry *next;
};

/// One object in a patch.
struct vorb {
    t_pxobject header;
    k_shared<std::int64_t> forced_inlet; // inlet of the next vorb_float, 0: ask the host
    struct inputs inputs;
    vorb_pool pool;
    t_outlet *intout;
    k_shared<std::int64_t> debug;
    vorb_bufref_entry *bufref_list;
};

/// One output layout: `channels` signal outlets, the last two aux sends where `outputs` is less.
struct vorb_layout {
    std::int64_t channels, outputs;
    t_perfroutine64 perform;
};

// The snapshot of a fog is one copy.
constexpr std::size_t vorb_snapshot_bytes = (vorb_slots + 3) * sizeof(double);
static_assert(offsetof(inputs, vs_inv) - offsetof(inputs, fog_amps) == vorb_snapshot_bytes);
static_assert(offsetof(vorb_fog, sustain) - offsetof(vorb_fog, gains) == vorb_snapshot_bytes);
static_assert(offsetof(vorb, header) == 0 && offsetof(vorb_fog, next) == 0);

/// The instance whose control inputs these are.
inline vorb *vorb_owner(inputs *in)
{
    return reinterpret_cast<vorb *>(reinterpret_cast<char *>(in) - offsetof(vorb, inputs));
}

inline t_object *vorb_object(vorb *x) { return reinterpret_cast<t_object *>(x); }

extern const char s_vorb_name[]; // heads every error text
extern t_class *k_vorb_class;
extern t_symbol *ps_buffer, *ps_all, *ps_sample1, *ps_buffer_modified;

// k_vorb_new
void *vorb_new(t_symbol *name, long argc, t_atom *argv);
void vorb_free(vorb *x);
void vorb_initialize(vorb *x, long argc, t_atom *argv);
void vorb_init(inputs *in);

// k_vorb_dsp
const vorb_layout *vorb_find_layout(std::int64_t channels); // null for none such
void vorb_dsp64(vorb *x, t_object *dsp64, short *count, double samplerate, long maxvectorsize,
                long flags);
void vorb_clear(double *vector, std::int64_t count);

// k_vorb_scratch: one block of source signal per source channel, shared by all instances and never
// cleared between fogs, since a reader may leave it as it was.
extern k_shared<double *> temp1, temp2, temp3, temp4;
extern k_shared<std::int64_t> temp_size;
void vorb_size_scratch(double vs);
bool vorb_scratch_holds(std::int64_t n);

// k_vorb_phasor [audio]
void vorb_run_phasor(vorb *x, const double *f0, const double *offset, std::int64_t n);

// k_vorb_fog [audio, or whoever triggers]
void vorb_update(inputs *in);
void vorb_onset(vorb_fog *fog, inputs *in, std::int64_t start, double x);

// k_vorb_pool
void vorb_init_list(vorb_pool *pool);
void vorb_trigger(vorb *x, std::int64_t index, double time);
void vorb_release(vorb_pool *pool, vorb_fog **link);
void vorb_error(vorb *x);
void vorb_limitwarning(vorb *x);
void vorb_reset(vorb *x);
void vorb_freefogs(vorb *x);
void vorb_usedfogs(vorb *x);
void vorb_bound_maxfogs(vorb *x, std::int64_t n); // at whatever inlet
void vorb_maxfogs(vorb *x, t_atom_long n);
void vorb_silent(vorb *x, t_atom_long n);
void vorb_limit(vorb *x, t_atom_long low, t_atom_long high);
extern k_shared<std::int32_t> vorb_error_count, vorb_limitwarning_count;
extern k_shared<std::int64_t> vorb_error_lasttime, vorb_limitwarningr_lasttime, vorb_error_silent;

// k_vorb_read [audio]
void vorb_read(vorb_fogread *reader, double *out, std::int64_t n);
void vorb_read_stereo(vorb_fogread *reader, double *out1, double *out2, std::int64_t n);
void vorb_read_quadro(vorb_fogread *reader, double *out1, double *out2, double *out3, double *out4,
                      std::int64_t n);

// k_vorb_buffers
void vorb_set(vorb *x, t_symbol *name);
void vorb_queue_set(vorb *x, t_symbol *name); // at whatever inlet
void vorb_doset(vorb *x, t_symbol *name, short argc, t_atom *argv);
t_buffer_ref *vorb_newbufref(vorb *x, t_symbol *name);
t_buffer_ref *vorb_bufref_find_entry(vorb *x, t_symbol *name);
void vorb_bufref_add_entry(vorb *x, t_symbol *name, t_buffer_ref *ref);
void vorb_bufref_freeall(vorb *x);
t_max_err vorb_bufref_notify_all(vorb *x, t_symbol *s, t_symbol *msg, void *sender, void *data);
t_max_err vorb_notify(vorb *x, t_symbol *s, t_symbol *msg, void *sender, void *data);
void vorb_dblclick(vorb *x);
t_buffer_obj *vorb_buffer(t_buffer_ref *ref); // null reference: null

// k_vorb_mix [audio]: one fog into its outlets; 1 while it sounds on, 0 when it has ended
std::int32_t vorb_run_one1(vorb_fog *fog, double *out1, std::int64_t n);
std::int32_t vorb_run_one2(vorb_fog *fog, double *out1, double *out2, std::int64_t n);
std::int32_t vorb_run_one2s(vorb_fog *fog, double *out1, double *out2, std::int64_t n);
std::int32_t vorb_run_one4(vorb_fog *fog, double *out1, double *out2, double *out3, double *out4,
                           std::int64_t n);
std::int32_t vorb_run_one4s(vorb_fog *fog, double *out1, double *out2, double *out3, double *out4,
                            std::int64_t n);
std::int32_t vorb_run_one6(vorb_fog *fog, double *out1, double *out2, double *out3, double *out4,
                           double *out5, double *out6, std::int64_t n);
std::int32_t vorb_run_one6q(vorb_fog *fog, double *out1, double *out2, double *out3, double *out4,
                            double *out5, double *out6, std::int64_t n);
std::int32_t vorb_run_one10(vorb_fog *fog, double *out1, double *out2, double *out3, double *out4,
                            double *out5, double *out6, double *out7, double *out8, double *out9,
                            double *out10, std::int64_t n);

// k_vorb_walk [audio]: every sounding fog, newest first
void vorb_run_all1(inputs *in, double **outs, std::int64_t n);
void vorb_run_all2(inputs *in, double **outs, std::int64_t n);
void vorb_run_all4(inputs *in, double **outs, std::int64_t n);
void vorb_run_all6(inputs *in, double **outs, std::int64_t n);
void vorb_run_all10(inputs *in, double **outs, std::int64_t n);

/// What a number must be, and what replaces one that is not.
struct vorb_range {
    const char *label; // in the report
    float low, high, fallback;
};

/// A parameter that one number sets: by its message at the left inlet, and at the inlet `also`.
struct vorb_param {
    const char *message; // null where a number at an inlet alone sets it
    vorb_range range;
    void (*store)(inputs &, float);
    int also = 0;
    k_shared<double> inputs::*high = nullptr; // the upper bound, where it moves
};

constexpr float k_open = 1e38f; // stands for an open bound

// k_vorb_value; the instance is the one that the console row will name
float vorb_get_value(vorb *x, const t_atom *atom);
float vorb_range_check(vorb *x, const char *label, float value, float low, float high,
                       float fallback);
float vorb_checked(vorb *x, const vorb_range &range, float value);
float vorb_read_checked(vorb *x, const vorb_range &range, const t_atom *atom);
int vorb_count(long argc);
bool vorb_at_inlet(vorb *x, int also = 0); // at the left one, or that one
bool vorb_accepts(vorb *x, const char *message, long argc, int least, int also = 0);
void vorb_assign(vorb *x, const vorb_param &p, float value);
void vorb_scalar(vorb *x, const vorb_param &p, long argc, t_atom *argv);

/// What answers a message with any number of arguments.
using vorb_handler = void(vorb *x, t_symbol *s, long argc, t_atom *argv);

// k_vorb_control: numbers, bangs and parameter messages
void vorb_float(vorb *x, double value);
void vorb_int(vorb *x, t_atom_long n);
void vorb_bang(vorb *x);
vorb_handler vorb_offset, vorb_transp, vorb_bw, vorb_amp, vorb_amplist, vorb_tex, vorb_debatt,
    vorb_atten, vorb_lp, vorb_env, vorb_autoenv, vorb_f0phase;
void vorb_all(vorb *x);
void vorb_follow_sample(inputs *in); // what `all` does, at whatever inlet
void vorb_test(vorb *x, t_atom_long n);
void vorb_print_inputs(inputs *in);

// k_vorb_space: where the fogs to come stand
vorb_handler vorb_gain, vorb_pan, vorb_pan8, vorb_panb, vorb_angle, vorb_direction, vorb_polar,
    vorb_aux1, vorb_aux2;
