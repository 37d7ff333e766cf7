// Spatial messages: the gain set that fogs to come copy, by pan laws, the cube panner and by hand.
// Answered at the left inlet and at the amplitude inlet.
#include "k_vorb.h"

#include <cmath>

// ---- Pan laws: an amplitude times the master gain, and one or two positions ---------------------

struct vorb_pan_law {
    const char *message, *amplitude_label;
    void (*law)(k_shared<double> *slots, double amp, const float *p);
    int positions;
    vorb_range position[2];
};

/// The lobe of a loudspeaker that faces 180 degrees, at 256 entries per 90 degrees; angles wrap.
static double vorb_lobe(double degrees)
{
    return k_sin_pan_table[k_trunc(degrees * 2.8444444444444446) & (k_pan_size - 1)];
}

/// Left to right, and mirrored behind: speakers 3 and 4 follow 2 and 1 around the room.
static void vorb_place_pan(k_shared<double> *slots, double amp, const float *p)
{
    const float h = 45 * p[0];
    slots[0] = slots[3] = vorb_lobe(double(225 + h)) * amp;
    slots[1] = slots[2] = vorb_lobe(double(135 + h)) * amp;
}

/// Four loudspeakers at -45, 45, 135 and 225 degrees.
static void vorb_place_angle(k_shared<double> *slots, double amp, const float *p)
{
    const double a = double(p[0]);
    const double facing[] = {225 + a, 135 + a, 45 + a, a - 45};
    for (int k = 0; k < 4; ++k) slots[k] = vorb_lobe(facing[k]) * amp;
}

/// A ring of eight, position k on output k. Its span of table begins with the two small tables, so
/// that a sound passing there is heard from other outputs too: deliberate.
static void vorb_place_pan8(k_shared<double> *slots, double amp, const float *p)
{
    const float q = float(double(p[0]) - 0.5);
    for (int j = 0; j < 8; ++j) {
        const float u = q + float(4 - j);
        slots[j] = k_pan_span[k_trunc(double(u) * 4096.0) & (k_pos_size - 1)] * amp;
    }
}

/// First-order B-format: W, X, Y, Z.
static void vorb_place_panb(k_shared<double> *slots, double amp, const float *p)
{
    const double degree = 0.017453; // short, deliberate
    const double az = double(float(double(p[0]) * degree)),
                 el = double(float(double(p[1]) * degree));
    slots[0] = 0.707107 * amp;
    slots[1] = std::cos(az) * std::cos(el) * amp;
    slots[2] = std::sin(az) * std::cos(el) * amp;
    slots[3] = std::sin(el) * amp;
}

static void vorb_apply_law(vorb *x, const vorb_pan_law &p, long argc, t_atom *argv)
{
    inputs &in = x->inputs;
    if (!vorb_accepts(x, p.message, argc, 1 + p.positions, amp_inlet)) return;
    // The product with the gain is checked, and its fallback is not multiplied: deliberate.
    const float product = float(double(vorb_get_value(x, argv)) * in.gain);
    const float amp = vorb_checked(x, {p.amplitude_label, 0, k_open, 1}, product);
    float at[2];
    for (int k = 0; k < p.positions; ++k) at[k] = vorb_read_checked(x, p.position[k], &argv[1 + k]);
    p.law(in.amps, double(amp), at);
    in.changed = 1;
}

// clang-format off
static const vorb_pan_law
    law_pan = {"pan", "amplitude (message pan)", vorb_place_pan, 1,
             {{"pan (message pan)", -1, 1, 0}}},
    law_pan8 = {"pan8", "amplitude (message pan8)", vorb_place_pan8, 1,
              {{"pan (message pan8)", -k_open, k_open, 0}}},
    law_panb = {"panb", "amplitude (message panb)", vorb_place_panb, 2,
              {{"azimuth (message panb)", -k_open, k_open, 0},
               {"elevation (message panb)", -k_open, k_open, 0}}},
    law_angle = {"angle", "amplitude (message angle)", vorb_place_angle, 1,
               {{"angle (message angle)", -k_open, k_open, 0}}};
// clang-format on

void vorb_pan(vorb *x, t_symbol *, long argc, t_atom *argv)
{
    vorb_apply_law(x, law_pan, argc, argv);
}

void vorb_pan8(vorb *x, t_symbol *, long argc, t_atom *argv)
{
    vorb_apply_law(x, law_pan8, argc, argv);
}

void vorb_panb(vorb *x, t_symbol *, long argc, t_atom *argv)
{
    vorb_apply_law(x, law_panb, argc, argv);
}

void vorb_angle(vorb *x, t_symbol *, long argc, t_atom *argv)
{
    vorb_apply_law(x, law_angle, argc, argv);
}

// ---- The cube -----------------------------------------------------------------------------------

struct vorb_cube_law {
    const char *message, *complaint;
    void (*law)(double *gains, const double *p);
    int least;   // arguments
    int bounded; // how many of them, from the first, have bounds of their own
    vorb_range range[4];
};

static const double cube_radius = 2.5999999046325684; // the float of 2.6

static void vorb_apply_cube(vorb *x, const vorb_cube_law &c, long argc, t_atom *argv)
{
    inputs &in = x->inputs;
    if (!vorb_accepts(x, c.message, argc, c.least, amp_inlet)) return;
    double p[4];
    for (int k = 0; k < c.least; ++k) p[k] = double(vorb_read_checked(x, c.range[k], &argv[k]));
    for (int k = 0; k < c.bounded; ++k)
        if (p[k] < double(c.range[k].low) || p[k] > double(c.range[k].high)) { // a guard only
            object_error(vorb_object(x), "%s: %s", s_vorb_name, c.complaint);
            return;
        }
    const double gain = in.gain;
    double gains[8];
    c.law(gains, p);
    for (int k = 0; k < 8; ++k) in.amps[k] = gains[k] * gain;
    for (int k = 8; k < vorb_slots; ++k) in.amps[k] *= gain; // each time: deliberate
    in.changed = 1;
}

static void vorb_place_direction(double *gains, const double *p)
{
    k_pan3d8(gains, p[0], p[1], p[2], p[3], cube_radius);
}

static void vorb_place_polar(double *gains, const double *p)
{
    k_pan3d8polar(gains, p[0], p[1], p[2], cube_radius);
}

// clang-format off
static const vorb_cube_law
    cube_direction = {"direction", "x, y, or z out of range [-1,1]", vorb_place_direction, 4, 3,
                   {{"x (message direction)", -1, 1, 0},
                    {"y (message direction)", -1, 1, 0},
                    {"z (message direction)", -1, 1, 0},
                    {"d (message direction)", -k_open, k_open, 0}}},
    cube_polar = {"polar", "az [-180,180] or el [-90,90] out of range", vorb_place_polar, 3, 2,
               {{"azimuth (message polar)", -180, 180, 0},
                {"elevation (message polar)", -90, 90, 0},
                {"distance (message polar)", -k_open, k_open, 0}}};
// clang-format on

void vorb_direction(vorb *x, t_symbol *, long argc, t_atom *argv)
{
    vorb_apply_cube(x, cube_direction, argc, argv);
}

void vorb_polar(vorb *x, t_symbol *, long argc, t_atom *argv)
{
    vorb_apply_cube(x, cube_polar, argc, argv);
}

// ---- By hand ------------------------------------------------------------------------------------

/// Sets the master gain and rescales what is set already.
void vorb_gain(vorb *x, t_symbol *, long argc, t_atom *argv)
{
    inputs &in = x->inputs;
    if (!vorb_accepts(x, "gain", argc, 1, amp_inlet)) return;
    const double gain = double(vorb_read_checked(x, {"gain", 0, k_open, 1}, argv));
    if (!(gain > 0)) {
        object_error(vorb_object(x), "%s: gain must be greater than 0", s_vorb_name);
        return;
    }
    const double r = gain / in.gain;
    for (auto &amp : in.amps) amp *= r;
    in.changed = 1;
    in.gain = gain;
}

template <int slot>
static void vorb_store_aux(inputs &in, float v)
{
    in.amps[slot] = double(v) * in.gain;
}

static const vorb_param p_aux1 = {
    "aux1", {"aux1", -k_open, k_open, 1}, vorb_store_aux<8>, amp_inlet};
static const vorb_param p_aux2 = {
    "aux2", {"aux2", -k_open, k_open, 1}, vorb_store_aux<9>, amp_inlet};

void vorb_aux1(vorb *x, t_symbol *, long argc, t_atom *argv) { vorb_scalar(x, p_aux1, argc, argv); }

void vorb_aux2(vorb *x, t_symbol *, long argc, t_atom *argv) { vorb_scalar(x, p_aux2, argc, argv); }
