// The host's basic types, and the functions every external may call. Same names, signatures and
// record layouts as the host's own SDK, so that an external builds against either unchanged.
#pragma once

#include <stdint.h>

#define C74_CONST const

#ifdef _WIN32
#define C74_EXPORT __declspec(dllexport)
typedef long long t_ptr_int;
typedef unsigned long long t_ptr_uint;
#else
#define C74_EXPORT __attribute__((visibility("default")))
typedef long t_ptr_int;
typedef unsigned long t_ptr_uint;
#endif

typedef t_ptr_uint t_ptr_size;
typedef char *t_ptr;
typedef t_ptr_int t_atom_long;
typedef double t_atom_float;
typedef t_ptr_int t_max_err;

typedef void *(*method)(void *);

enum {
    MAX_ERR_NONE = 0,
    MAX_ERR_GENERIC = -1,
    MAX_ERR_INVALID_PTR = -2,
    MAX_ERR_DUPLICATE = -3,
    MAX_ERR_OUT_OF_MEM = -4
};

enum {
    A_NOTHING = 0,
    A_LONG,
    A_FLOAT,
    A_SYM,
    A_OBJ,
    A_DEFLONG,
    A_DEFFLOAT,
    A_DEFSYM,
    A_GIMME,
    A_CANT,
    A_SEMI,
    A_COMMA,
    A_DOLLAR
};

enum { MSG_MAXARG = 7 };                      // most typed arguments of one method
enum { ASSIST_INLET = 1, ASSIST_OUTLET = 2 }; // kinds of assistance
enum { ASSIST_MAX_STRING_LEN = 500 };

struct t_object;
typedef struct t_class t_class;
typedef struct t_outlet t_outlet;

typedef struct t_symbol {
    char *s_name;
    t_object *s_thing;
} t_symbol;

typedef struct t_object {
    void *o_messlist;
    t_ptr_int o_magic;
    void *o_inlet;
    void *o_outlet;
} t_object;

typedef struct t_atom {
    short a_type;
    union {
        t_atom_long w_long;
        t_atom_float w_float;
        t_symbol *w_sym;
        t_object *w_obj;
    } a_w;
} t_atom;

#include "ext_post.h"
#include "ext_proto.h"
#include "ext_sysmem.h"
