// What the object takes for granted of the host's headers: signatures, codes and the layout of
// records, where `long` has 64 bits and where it has 32. Compiling this is the test, against our
// own headers in every build, and against those of the SDK where these are used.
#include "ext.h"

#include "ext_obex.h"

#include "z_dsp.h"

#include "ext_buffer.h"

#include <cstddef>
#include <cstdint>
#include <type_traits>

#if defined(SDK_STAND_IN_IS_USED) && !defined(SDK_STAND_IN)
#error "other headers than those of MAX_SDK_DIR"
#endif

template <class Expected, class Declared>
constexpr bool is(Declared *)
{
    return std::is_same_v<Expected, Declared>;
}

// ---- Functions ----------------------------------------------------------------------------------

using name = const char *;

static_assert(is<t_class *(name, method, method, long, method, short, ...)>(class_new));
static_assert(is<t_max_err(t_class *, method, name, ...)>(class_addmethod));
static_assert(is<t_max_err(t_symbol *, t_class *)>(class_register));
static_assert(is<void *(t_class *)>(object_alloc));
static_assert(is<void *(void *, void *, void *, void *, void *, void *, void *, void *, void *,
                        void *)>(object_method_imp));
static_assert(is<t_symbol *(name)>(gensym));
static_assert(is<long(t_object *)>(proxy_getinlet));
static_assert(is<void *(void *)>(intout));
static_assert(is<void *(void *, name)>(outlet_new));
static_assert(is<void *(t_outlet *, t_atom_long)>(outlet_int));
static_assert(is<void *(void *, method, t_symbol *, short, t_atom *)>(defer));
static_assert(is<long()>(gettime));
static_assert(is<void(t_object *, name, ...)>(object_post));
static_assert(is<void(t_object *, name, ...)>(object_error));
static_assert(is<char *(std::uintptr_t)>(sysmem_newptr));
static_assert(is<void(void *)>(sysmem_freeptr));

static_assert(is<void(t_class *)>(class_dspinit));
static_assert(is<void(t_pxobject *, long)>(z_dsp_setup));
static_assert(is<void(t_pxobject *)>(z_dsp_free));
static_assert(is<int()>(sys_getblksize));
static_assert(is<float()>(sys_getsr));
static_assert(is<t_buffer_ref *(t_object *, t_symbol *)>(buffer_ref_new));
static_assert(is<void(t_buffer_ref *, t_symbol *)>(buffer_ref_set));
static_assert(is<t_buffer_obj *(t_buffer_ref *)>(buffer_ref_getobject));
static_assert(
    is<t_max_err(t_buffer_ref *, t_symbol *, t_symbol *, void *, void *)>(buffer_ref_notify));
static_assert(is<void(t_buffer_obj *)>(buffer_view));
static_assert(is<float *(t_buffer_obj *)>(buffer_locksamples));
static_assert(is<void(t_buffer_obj *)>(buffer_unlocksamples));
static_assert(is<t_atom_long(t_buffer_obj *)>(buffer_getframecount));
static_assert(is<t_atom_long(t_buffer_obj *)>(buffer_getchannelcount));
static_assert(is<t_atom_float(t_buffer_obj *)>(buffer_getsamplerate));

static_assert(std::is_same_v<method, void *(*)(void *)>);
static_assert(std::is_same_v<t_perfroutine64, void (*)(t_object *, t_object *, double **, long,
                                                       double **, long, long, long, void *)>);
static_assert(std::is_same_v<t_buffer_obj, t_object>);

// ---- Codes --------------------------------------------------------------------------------------

static_assert(A_NOTHING == 0 && A_LONG == 1 && A_FLOAT == 2 && A_SYM == 3 && A_OBJ == 4);
static_assert(A_DEFLONG == 5 && A_DEFFLOAT == 6 && A_DEFSYM == 7 && A_GIMME == 8 && A_CANT == 9);
static_assert(A_SEMI == 10 && A_COMMA == 11 && A_DOLLAR == 12 && MSG_MAXARG == 7);
static_assert(MAX_ERR_NONE == 0 && MAX_ERR_GENERIC == -1 && MAX_ERR_INVALID_PTR == -2);
static_assert(MAX_ERR_DUPLICATE == -3 && MAX_ERR_OUT_OF_MEM == -4);
static_assert(ASSIST_INLET == 1 && ASSIST_OUTLET == 2 && ASSIST_MAX_STRING_LEN == 500);
static_assert(Z_NO_INPLACE == 1);

// ---- Records ------------------------------------------------------------------------------------

template <class T>
constexpr bool is_signed_of(std::size_t bytes)
{
    return std::is_integral_v<T> && std::is_signed_v<T> && sizeof(T) == bytes;
}

static_assert(is_signed_of<t_atom_long>(8) && is_signed_of<t_max_err>(8));
static_assert(is_signed_of<t_ptr_int>(8) && sizeof(t_ptr_size) == 8 && sizeof(void *) == 8);
static_assert(std::is_same_v<t_atom_float, double>);

static_assert(sizeof(t_atom) == 16 && offsetof(t_atom, a_type) == 0 && offsetof(t_atom, a_w) == 8);
static_assert(std::is_same_v<decltype(t_atom::a_type), short>);
static_assert(std::is_same_v<decltype(t_atom::a_w.w_long), t_atom_long>);
static_assert(std::is_same_v<decltype(t_atom::a_w.w_float), double>);
static_assert(std::is_same_v<decltype(t_atom::a_w.w_sym), t_symbol *>);
static_assert(std::is_same_v<decltype(t_atom::a_w.w_obj), t_object *>);
static_assert(sizeof(t_symbol) == 16 && offsetof(t_symbol, s_name) == 0);
static_assert(offsetof(t_symbol, s_thing) == 8);
static_assert(sizeof(t_object) == 32 && offsetof(t_object, o_messlist) == 0);
static_assert(offsetof(t_object, o_magic) == 8 && sizeof(t_object::o_magic) == 8);
static_assert(offsetof(t_object, o_inlet) == 16 && offsetof(t_object, o_outlet) == 24);

#ifdef _WIN32
constexpr std::size_t long_size = 4, header_size = 56, count_at = 52;
#else
constexpr std::size_t long_size = 8, header_size = 64, count_at = 56;
#endif
static_assert(is_signed_of<long>(long_size));
static_assert(sizeof(t_pxobject) == header_size && offsetof(t_pxobject, z_ob) == 0);
static_assert(offsetof(t_pxobject, z_in) == 32 && offsetof(t_pxobject, z_proxy) == 40);
static_assert(offsetof(t_pxobject, z_disabled) == 48 && offsetof(t_pxobject, z_count) == count_at);
static_assert(offsetof(t_pxobject, z_misc) == count_at + 2);
static_assert(sizeof(t_pxobject::z_in) == long_size && sizeof(t_pxobject::z_count) == 2);
