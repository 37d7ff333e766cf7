// Classes, instances, and calling an object's method by name.
#pragma once

#include "ext.h"

extern "C" {
t_class *class_new(C74_CONST char *name, method mnew, method mfree, long size, method mmenu,
                   short type, ...);
t_max_err class_addmethod(t_class *c, method m, C74_CONST char *name, ...);
t_max_err class_register(t_symbol *name_space, t_class *c);
void *object_alloc(t_class *c);
void *object_method_imp(void *x, void *sym, void *p1, void *p2, void *p3, void *p4, void *p5,
                        void *p6, void *p7, void *p8);
}
