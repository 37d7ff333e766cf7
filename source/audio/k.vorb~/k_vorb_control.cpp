// Numbers, bangs and parameter messages: what they store for the fogs to come.
#include "k_vorb.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

// ---- Parameters that one number sets ------------------------------------------------------------

static void vorb_store_offset(inputs &in, float v) { in.offset = in.latency_ms + double(v); }

/// The message, unlike the inlet, rounds the sum to single precision: deliberate.
static void vorb_store_offset_rounded(inputs &in, float v)
{
    in.offset = double(float(double(v) + in.latency_ms));
}

static void vorb_store_trans(inputs &in, float v) { in.trans = double(v); }
static void vorb_store_bw(inputs &in, float v) { in.bw = double(v); }

static void vorb_store_amp(inputs &in, float v)
{
    for (auto &amp : in.amps) amp = double(v); // without the gain, deliberate
}

static void vorb_store_tex(inputs &in, float v) { in.tex = double(v) * 0.001; }

static void vorb_store_debatt(inputs &in, float v)
{
    in.debatt_all = 0; // first: a fog that starts meanwhile must not set the time again
    in.debatt = double(v) * 0.001;
}

static void vorb_store_atten(inputs &in, float v) { in.atten = double(v) * 0.001; }

/// 0 ... 1 to 1/1024 ... 1 (no filtering), exponentially.
static void vorb_store_lowpass(inputs &in, float v)
{
    double q = std::pow(2.0, 10.0 * double(v)) / 1024.0;
    if (q < 0) q = 0;
    if (q > 1) q = 1;
    in.lp1 = q;
    in.lp1m = q - 1;
    in.lp2 = 0;
}

static const vorb_range r_offset = {"offset", 0, k_open, 0};
static const vorb_param p_offset_inlet = {nullptr, r_offset, vorb_store_offset};
static const vorb_param p_offset = {"offset", r_offset, vorb_store_offset_rounded};
static const vorb_param p_trans = {"transp", {"transposition", 0, k_open, 1}, vorb_store_trans};
static const vorb_param p_bw = {
    "bw", {"bandwidth", 0, k_open, 0}, vorb_store_bw, 0, &inputs::nyquist};
static const vorb_param p_amp = {"amp", {"amplitude", -k_open, k_open, 0}, vorb_store_amp};
static const vorb_param p_tex = {"tex", {"tex", 0, k_open, 0}, vorb_store_tex};
static const vorb_param p_debatt = {"debatt", {"debatt", 0, k_open, 0}, vorb_store_debatt};
static const vorb_param p_atten = {"atten", {"atten", 0, k_open, 0}, vorb_store_atten};
static const vorb_param p_lowpass_inlet = {nullptr, {"lowpass", 0, 1, 1}, vorb_store_lowpass};

// ---- Numbers and bangs --------------------------------------------------------------------------

/// Starts one fog after a time in ms.
static void vorb_start(vorb *x, float value)
{
    const double sr = x->inputs.sr, sp = 1 / sr; // of one rate: audio may start meanwhile
    const double t = double(vorb_checked(x, {"start", 0, k_open, 0}, value)) * 0.001;
    const std::int64_t n = k_trunc(t * sr);
    vorb_trigger(x, n, t - double(n) * sp);
}

void vorb_float(vorb *x, double value)
{
    static const vorb_param *const by_inlet[vorb_signal_inlets] = {
        nullptr, &p_offset_inlet, &p_trans, &p_bw,           &p_amp,
        &p_tex,  &p_debatt,       &p_atten, &p_lowpass_inlet};
    const std::int64_t forced = x->forced_inlet.exchange(0);
    const std::int64_t inlet = forced ? forced : proxy_getinlet(vorb_object(x));
    if (inlet == 0) vorb_start(x, float(value));
    else if (inlet > 0 && inlet < vorb_signal_inlets)
        vorb_assign(x, *by_inlet[inlet], float(value));
}

void vorb_int(vorb *x, t_atom_long n)
{
    if (!vorb_at_inlet(x)) return vorb_float(x, double(float(n)));
    char name[128];
    std::snprintf(name, sizeof name, "sample%lld", (long long)n);
    vorb_set(x, gensym(name));
}

void vorb_bang(vorb *x)
{
    if (vorb_at_inlet(x)) vorb_float(x, 0);
}

// ---- Messages, at the left inlet ----------------------------------------------------------------

void vorb_offset(vorb *x, t_symbol *, long argc, t_atom *argv)
{
    vorb_scalar(x, p_offset, argc, argv);
}

void vorb_transp(vorb *x, t_symbol *, long argc, t_atom *argv)
{
    vorb_scalar(x, p_trans, argc, argv);
}

void vorb_bw(vorb *x, t_symbol *, long argc, t_atom *argv) { vorb_scalar(x, p_bw, argc, argv); }

void vorb_amp(vorb *x, t_symbol *, long argc, t_atom *argv) { vorb_scalar(x, p_amp, argc, argv); }

void vorb_tex(vorb *x, t_symbol *, long argc, t_atom *argv) { vorb_scalar(x, p_tex, argc, argv); }

void vorb_atten(vorb *x, t_symbol *, long argc, t_atom *argv)
{
    vorb_scalar(x, p_atten, argc, argv);
}

void vorb_follow_sample(inputs *in)
{
    in->debatt_all = 1;
    in->changed = 1;
}

/// Lets the attenuation of each fog end where the sample ends; the inlet of `debatt` answers too.
void vorb_all(vorb *x)
{
    if (vorb_at_inlet(x, debatt_inlet)) vorb_follow_sample(&x->inputs);
}

void vorb_debatt(vorb *x, t_symbol *, long argc, t_atom *argv)
{
    if (!vorb_accepts(x, p_debatt.message, argc, 1)) return;
    if (argv[0].a_type == A_SYM && argv[0].a_w.w_sym == ps_all) vorb_all(x);
    else vorb_assign(x, p_debatt, vorb_get_value(x, argv));
}

/// Amplitudes of outputs 1, 2, ... times the gain; the amplitude inlet answers too.
void vorb_amplist(vorb *x, t_symbol *, long argc, t_atom *argv)
{
    inputs &in = x->inputs;
    if (!vorb_at_inlet(x, amp_inlet)) return;
    const double gain = in.gain;
    for (int k = 0; k < std::min<int>(vorb_count(argc), vorb_slots); ++k)
        in.amps[k] =
            double(vorb_read_checked(x, {"amplitude (list)", -k_open, k_open, 1}, &argv[k])) * gain;
    in.changed = 1;
}

/// lp A [B]: the coefficient starts at 2 to the A and halves B times a second.
void vorb_lp(vorb *x, t_symbol *, long argc, t_atom *argv)
{
    inputs &in = x->inputs;
    if (!vorb_accepts(x, "lp", argc, 1)) return;
    const float a = vorb_read_checked(x, {"lp1", -k_open, 0, 0}, &argv[0]);
    const float q = float(std::pow(0.5, -double(a)));
    float b = 0;
    if (vorb_count(argc) >= 2) b = vorb_read_checked(x, {"lp2", 0, k_open, 0}, &argv[1]);
    in.lp1 = double(q);
    in.lp1m = double(q - 1); // in single precision, deliberate
    in.lp2 = double(b);
    in.changed = 1;
}

/// env DURATION ATTACK BANDWIDTH SUSTAIN RELEASE: ms, Hz, and three shares of the duration.
void vorb_env(vorb *x, t_symbol *, long argc, t_atom *argv)
{
    static const char *const labels[] = {"duration (message env)", "attack (message env)",
                                         "bandwidth (message env)", "sustain (message env)",
                                         "release (message env)"};
    inputs &in = x->inputs;
    if (!vorb_accepts(x, "env", argc, 5)) return;
    float v[5];
    for (int k = 0; k < 5; ++k) v[k] = vorb_get_value(x, &argv[k]);
    v[0] = float(double(v[0]) * 0.001);
    for (int k = 0; k < 5; ++k) v[k] = vorb_checked(x, {labels[k], 0, k_open, 0}, v[k]);
    const float duration = v[0], attack = v[1], bandwidth = v[2], sustain = v[3], release = v[4];
    const float total = attack + sustain + release;
    if (total == 0) {
        object_error(vorb_object(x), "%s: sum of envelope segments is zero in env message",
                     s_vorb_name);
        return;
    }
    in.debatt_all = 0;
    in.tex = double(duration * (attack / total));
    in.bw = double(bandwidth);
    in.debatt = double(duration * (attack / total)) + double(duration * (sustain / total));
    in.atten = double(duration * (release / total));
    in.changed = 1;
}

/// autoenv PERIODS [MAXIMUM ms]: phasor-started fogs take their times from F0.
void vorb_autoenv(vorb *x, t_symbol *, long argc, t_atom *argv)
{
    static const vorb_range range = {"autoenv", 0, k_open, 0};
    inputs &in = x->inputs;
    if (!vorb_accepts(x, "autoenv", argc, 1)) return;
    const auto periods = double(vorb_read_checked(x, range, &argv[0]));
    if (vorb_count(argc) >= 2) // set first: no fog may last longer meanwhile
        in.autoenv_max = double(vorb_read_checked(x, range, &argv[1])) * 0.001;
    in.autoenv = periods;
    in.changed = 1;
}

void vorb_f0phase(vorb *x, t_symbol *, long argc, t_atom *argv)
{
    inputs &in = x->inputs;
    if (!vorb_accepts(x, "f0phase", argc, 1)) return;
    in.phase = double(vorb_read_checked(x, {"f0phase", 0, 1, 0}, argv)) * in.sr;
}

// ---- Looking inside -----------------------------------------------------------------------------

void vorb_test(vorb *x, t_atom_long n)
{
    if (vorb_at_inlet(x)) x->debug = n;
}

/// For a debugger's command line or a line of trial code: no message calls it.
void vorb_print_inputs(inputs *in)
{
    t_object *x = vorb_object(vorb_owner(in));
    object_post(x, "- vorb_inputs");
    object_post(x, "  table = %s,  bufref = %llx", in->table ? in->table->s_name : "",
                (unsigned long long)reinterpret_cast<std::uintptr_t>(
                    static_cast<t_buffer_ref *>(in->bufref)));
    object_post(x, "  offset = %f, trans = %f, bw = %f, tex = %f, debatt = %f, atten = %f",
                double(in->offset), double(in->trans), double(in->bw), double(in->tex),
                double(in->debatt), double(in->atten));
}
