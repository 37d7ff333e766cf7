// Signal objects: their header record, their inlets, and the host's audio settings.
#pragma once

#include "ext.h"
#include "ext_obex.h"

typedef struct t_pxobject {
    t_object z_ob;
    long z_in;
    void *z_proxy;
    long z_disabled;
    short z_count;
    short z_misc;
} t_pxobject;

enum { Z_NO_INPLACE = 1 }; // z_misc: outlets must not share memory with inlets

typedef void (*t_perfroutine64)(t_object *x, t_object *dsp64, double **ins, long numins,
                                double **outs, long numouts, long sampleframes, long flags,
                                void *userparam);

extern "C" {
void class_dspinit(t_class *c);
void z_dsp_setup(t_pxobject *x, long nsignals);
void z_dsp_free(t_pxobject *x);
int sys_getblksize(void);
float sys_getsr(void);
}
