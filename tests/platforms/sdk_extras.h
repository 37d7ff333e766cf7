// What the SDK's headers bring along beyond ours: macros that could take names away from the
// object's sources, and on Windows the system's own header.
#define SDK_STAND_IN

#ifdef _WIN32
#ifndef WIN_VERSION
#error "the SDK's headers ask for WIN_VERSION"
#endif
#define WIN32_LEAN_AND_MEAN
#include <windows.h>
#endif

#define MAX(a, b) ((a) > (b) ? (a) : (b))
#define MIN(a, b) ((a) < (b) ? (a) : (b))
#define CLAMP(a, lo, hi) ((a) > (lo) ? ((a) < (hi) ? (a) : (hi)) : (lo))
#define ABS(x) ((x) < 0 ? -(x) : (x))
#define INRANGE(v, lo, hi) ((v) >= (lo) && (v) <= (hi))
#define PI 3.14159265358979323846
#define TWOPI 6.28318530717958647692
#define PIOVERTWO 1.57079632679489661923
#define getbytes(size) sysmem_newptr(size)
#define freebytes(memory, size) sysmem_freeptr(memory)
#define dsp_setup z_dsp_setup
#define dsp_free z_dsp_free
#define CLASS_BOX gensym("box")
#define object_method(...) object_method_imp(__VA_ARGS__)
