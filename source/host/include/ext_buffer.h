// References to the host's named sample buffers. Samples are interleaved single-precision frames
// and may be touched only between a successful lock and its unlock.
#pragma once

#include "ext.h"
#include "ext_obex.h"

typedef t_object t_buffer_obj;
typedef struct t_buffer_ref t_buffer_ref;

extern "C" {
t_buffer_ref *buffer_ref_new(t_object *self, t_symbol *name);
void buffer_ref_set(t_buffer_ref *ref, t_symbol *name);
t_buffer_obj *buffer_ref_getobject(t_buffer_ref *ref);
t_max_err buffer_ref_notify(t_buffer_ref *ref, t_symbol *s, t_symbol *msg, void *sender,
                            void *data);
void buffer_view(t_buffer_obj *buffer);
float *buffer_locksamples(t_buffer_obj *buffer);
void buffer_unlocksamples(t_buffer_obj *buffer);
t_atom_long buffer_getframecount(t_buffer_obj *buffer);
t_atom_long buffer_getchannelcount(t_buffer_obj *buffer);
t_atom_float buffer_getsamplerate(t_buffer_obj *buffer);
}
