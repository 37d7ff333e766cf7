// Ahead of every file on the object's side: functions of its host API that Pd has, too, with other
// parameters, get names of their own, and nothing but Pd's set-up function is exported.
#pragma once

#define class_new k_vorb_class_new
#define class_addmethod k_vorb_class_addmethod
#define gensym k_vorb_gensym
#define outlet_new k_vorb_outlet_new
#define sys_getblksize k_vorb_sys_getblksize
#define sys_getsr k_vorb_sys_getsr

#include "ext.h"

#undef C74_EXPORT
#define C74_EXPORT
