// Symbols, inlets, outlets, deferred calls and the clock.
#pragma once

extern "C" {
t_symbol *gensym(C74_CONST char *s);
long proxy_getinlet(t_object *x);
void *intout(void *x);
void *outlet_new(void *x, C74_CONST char *type);
void *outlet_int(t_outlet *o, t_atom_long n);
void *defer(void *ob, method fn, t_symbol *sym, short argc, t_atom *argv);
long gettime(void);
}
