// The headless host's own face: load an external, type its object box, send it messages, run blocks
// of audio, and read what came out. One session per process, as in a host with a screen.
//
// The host is strict: whatever an external does against the rules of the API (an unbalanced lock,
// an allocation in a perform routine, a main-thread call from elsewhere, a stranger's pointer)
// becomes a fault, see take_faults(). Nothing depends on wall time, addresses or locale.
//
// One thread may play all parts, or three may share them, as in a host with overdrive:
//   scheduler  send(), set_time()
//   audio      perform(), input(), output()
//   main       all else, and send() after defer_at_once(true)
// Console, numbers, faults and time may be taken anywhere. What an external calls is safe wherever
// it may be called, but its samples are locked in blocks or between_blocks only. Nobody may speak
// to an instance that is being made or destroyed, and what an external trusts its host never to do
// at the same moment as a block, such as a message that starts a sound, is sent between_blocks.
#pragma once

#include "ext.h"

#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace host {

/// A request that the host's user got wrong: no such file, inlet or buffer. The text is one line.
struct error : std::runtime_error {
    using std::runtime_error::runtime_error;
};

using atoms = std::vector<t_atom>;

/// A row of the console. `ms` is the host's clock at that moment, `object` may be null.
struct line {
    double ms;
    bool error;
    const t_object *object;
    std::string text;
};

/// A number that left an integer outlet; all outlets count, from the left.
struct number {
    double ms;
    const t_object *object;
    int outlet;
    t_atom_long value;
};

// ---- Session ------------------------------------------------------------------------------------

/// Frees every instance and buffer and forgets console, numbers, clock, queue and former faults;
/// those of the freeing itself can still be taken. Audio settings return to 44100 Hz and 64 frames,
/// off. Externals stay loaded, with what they keep.
void reset();

// ---- Externals ----------------------------------------------------------------------------------

/// Adds a folder in which create() looks for the external of a class that it does not know:
/// `CLASS.so`, on Windows `CLASS.mxe64`, on a Mac `CLASS.mxo`.
void add_folder(const std::string &folder);

/// Registers an external that is compiled into the program by calling its entry point.
void link(void (*ext_main)(void *));

/// reset(), then unloads every external that came from a file, so that the next create() meets its
/// process-wide state as at first load. Memory it still held is freed, unless an external was
/// linked, whose own could not be told from it.
void unload();

// ---- Instances ----------------------------------------------------------------------------------

/// Makes an instance from the text of an object box, "class argument ...". Null when there is no
/// such class, which the console says, or its constructor declined.
t_object *create(std::string_view box);
t_object *create(const std::string &name, atoms arguments);
void destroy(t_object *x);

bool understands(const t_object *x, std::string_view selector);
/// All selectors that a patch can send to x, sorted.
std::vector<std::string> selectors(const t_object *x);
/// The first selector in the text of a message box that x does not understand; empty if none.
std::string unknown_selector(const t_object *x, std::string_view text);
int inlets(const t_object *x);
/// Outlet types from left to right: "signal", "int", ...
std::vector<std::string> outlets(const t_object *x);
int signal_outlets(const t_object *x);

/// The assistance text of an inlet (kind ASSIST_INLET) or outlet (ASSIST_OUTLET); empty if none.
std::string assist(t_object *x, long kind, long index);
void double_click(t_object *x);

// ---- Messages -----------------------------------------------------------------------------------

t_atom atom(double v);
template <class Int, class = std::enable_if_t<std::is_integral_v<Int>>>
t_atom atom(Int v)
{
    t_atom a{A_LONG, {}};
    a.a_w.w_long = v;
    return a;
}
t_atom atom(const char *symbol);

/// Atoms of a text as typed into a box: whole numbers are ints, numbers with a point or exponent
/// floats, everything else (and what stands in double quotes) symbols.
atoms parse(std::string_view text);

/// Sends what a message box with this text would send; commas outside quotes separate messages.
/// Runs in the scheduler's context. Throws error for an inlet that x does not have.
void send(t_object *x, int inlet, std::string_view text);
void send(t_object *x, int inlet, const char *selector, const atoms &arguments);

// ---- Clock and deferred calls -------------------------------------------------------------------

/// Sets the time that gettime() and console rows report, in ms, 0 after reset(); gettime() wraps
/// where `long` has 32 bits. Throws error beyond +-9e15.
void set_time(double ms);
double time();

/// Runs the calls that externals deferred, in order, in the main thread's context.
void drain();
/// When true, messages of this thread too run in the main thread's context, as with overdrive off,
/// and calls deferred from there run before defer() returns.
void defer_at_once(bool yes);

// ---- Audio --------------------------------------------------------------------------------------

/// Sets sample rate (Hz) and vector size (frames) for all instances; takes effect at the next
/// start_audio() or run(), but sys_getsr() and sys_getblksize() report it at once.
void set_audio(double sample_rate, long vector_size);
/// The same for one instance alone, as inside a polyphonic subpatch; 0, 0 takes it back.
void set_audio(t_object *x, double sample_rate, long vector_size);

/// Plugs signal cords into an inlet; 0 unplugs. The chain is rebuilt before the next block.
void connect(t_object *x, int inlet, int cords = 1);

/// Rebuilds the signal chain now: every instance's dsp64 method runs, in the order of creation. An
/// instance misses the blocks that are played meanwhile.
void start_audio();
void stop_audio();

/// While it lives, no other thread is within a block, nor between blocks: who waits is let in by
/// turns. May be nested.
struct between_blocks {
    between_blocks();
    ~between_blocks();
    between_blocks(const between_blocks &) = delete;
};

/// The signal that the next run() feeds into an inlet, one vector; it keeps its values from block
/// to block and may be longer than the vector size. Heard only while the inlet is connected.
double *input(t_object *x, int inlet);
/// What the last run() left at a signal outlet; only these are counted, from the left.
const double *output(const t_object *x, int outlet);

/// One block through every instance; starts audio, or rebuilds the chain, if that is due. `frames`
/// other than 0 overrides the number of frames handed to the perform routines (at most 8192).
/// Outlets share memory with inlets, and hold garbage at first, unless the instance forbids it.
/// Denormal numbers count as 0 for as long as it lasts, as on every audio thread.
void run(long frames = 0);
/// The same on a thread of its own: of what start_audio() left in the chain.
void perform(long frames = 0);

// ---- Buffers ------------------------------------------------------------------------------------

/// Creates a buffer~, or replaces the contents of the one of that name, and notifies its
/// references. `samples` holds interleaved frames; its size is a multiple of `channels`.
void set_buffer(const std::string &name, long channels, double sample_rate,
                const std::vector<float> &samples);
void delete_buffer(const std::string &name);
/// While true, the samples of this buffer cannot be locked.
void refuse_locks(const std::string &name, bool yes);
/// Names that references ask for and no buffer bears, each once.
std::vector<std::string> unresolved();
/// How often the buffer's editor was opened.
int views(const std::string &name);

// ---- What came out ------------------------------------------------------------------------------

std::vector<line> take_console();
std::vector<number> take_numbers();

// ---- Strictness ---------------------------------------------------------------------------------

/// The rules broken since the last call, one line each, 1000 at most; locks still held count too.
std::vector<std::string> take_faults();

/// Makes the k-th allocation from now on fail (1 is the next; object_alloc and sysmem_newptr
/// count); 0 takes it back. Returns what was left of the former k: 0 when that failure has struck.
long fail_allocation(long k);

} // namespace host

/// To be called before every heap operation by a program that watches its heap.
extern "C" void host_heap_used();
