// What the two sides of the adapter say to each other, in plain types: no file can see the headers
// of both Pd and the object's host. Everything happens on Pd's one scheduler thread.
#pragma once

namespace host {
struct instance;
}

// ---- The object's side, for Pd ------------------------------------------------------------------

namespace vorb_pd {

using host::instance;

struct atom {
    const char *symbol; // null: a number
    float number;
};

/// Registers the object's class; once.
void load();

/// From the arguments of the object box; null where it declines. `owner` is Pd's object.
instance *create(void *owner, int argc, const atom *argv);
void destroy(instance *x);
int signal_outlets(const instance *x);

/// A message; returns whether a number left the integer outlet, and which.
bool send(instance *x, int inlet, const char *selector, int argc, const atom *argv, float *left);
/// A number. Uses no heap, so that it may arrive on the audio tick.
void send_number(instance *x, int inlet, float v);

/// The sample rate of what an array holds, in Hz, for every instance; 0: Pd's. The last instance
/// takes the rates with it.
void set_rate(const char *array, float hz);
/// Looks the arrays of one instance up, or without one all arrays, and makes room for those that
/// have grown.
void refresh(const instance *x);
/// Forgets what no instance names any more.
void prune();

/// What the signal chain will be like, whenever it is built.
void start(instance *x, bool f0, bool offset, double rate, int frames);
/// One block; an inlet without a signal is null. Outlets may share memory with inlets.
void run(instance *x, const float *const ins[2], float *const *outs, int frames);

} // namespace vorb_pd

// ---- Pd's side, for the object ------------------------------------------------------------------

namespace pd {

void write_console(void *owner, bool error, const char *text); // the owner may be null
double time_ms();                                              // logical time
double sample_rate();
int block_size();

void *symbol(const char *name);
/// The elements of the array of that name, null if there is none; of several the oldest, as Pd's
/// own objects choose. It will report its resizing.
const void *find_array(void *symbol, long *frames, bool *several);
/// Copies `count` elements from `first` on to every `stride`th float.
void copy_elements(float *to, int stride, const void *elements, long first, long count);
/// Calls vorb_pd::refresh(nullptr) when the audio tick is over.
void refresh_soon();

} // namespace pd
