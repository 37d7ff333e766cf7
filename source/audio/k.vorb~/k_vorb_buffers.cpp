// The instance's buffer references: one per table name ever set, kept until the instance goes, so
// that a sounding fog's reference stays valid.
#include "k_vorb.h"

#include <cstring>

t_buffer_obj *vorb_buffer(t_buffer_ref *ref) { return ref ? buffer_ref_getobject(ref) : nullptr; }

t_buffer_ref *vorb_bufref_find_entry(vorb *x, t_symbol *name)
{
    for (vorb_bufref_entry *e = x->bufref_list; e; e = e->next)
        if (std::strcmp(e->name->s_name, name->s_name) == 0) return e->ref;
    return nullptr;
}

void vorb_bufref_add_entry(vorb *x, t_symbol *name, t_buffer_ref *ref)
{
    const auto entry =
        reinterpret_cast<vorb_bufref_entry *>(sysmem_newptr(sizeof(vorb_bufref_entry)));
    if (!entry) {
        object_post(vorb_object(x), "vorb_bufref_add_entry: cannot allocate memory");
        return;
    }
    *entry = {name, ref, nullptr};
    vorb_bufref_entry **tail = &x->bufref_list;
    while (*tail) tail = &(*tail)->next;
    *tail = entry;
}

t_buffer_ref *vorb_newbufref(vorb *x, t_symbol *name)
{
    if (t_buffer_ref *known = vorb_bufref_find_entry(x, name)) return known;
    t_buffer_ref *ref = buffer_ref_new(vorb_object(x), name);
    if (ref) vorb_bufref_add_entry(x, name, ref); // nothing could notify or find a null one
    return ref;
}

void vorb_bufref_freeall(vorb *x)
{
    for (vorb_bufref_entry *e = x->bufref_list; e;) {
        vorb_bufref_entry *next = e->next;
        sysmem_freeptr(e);
        e = next;
    }
}

void vorb_doset(vorb *x, t_symbol *name, short, t_atom *)
{
    x->inputs.table = name;
    x->inputs.bufref = vorb_newbufref(x, name);
}

/// References are made on the main thread only, whichever thread asks.
void vorb_queue_set(vorb *x, t_symbol *name) { defer(x, (method)vorb_doset, name, 0, nullptr); }

void vorb_set(vorb *x, t_symbol *name)
{
    if (vorb_at_inlet(x)) vorb_queue_set(x, name);
}

t_max_err vorb_bufref_notify_all(vorb *x, t_symbol *s, t_symbol *msg, void *sender, void *data)
{
    t_max_err result = MAX_ERR_NONE;
    for (vorb_bufref_entry *e = x->bufref_list; e; e = e->next)
        if (const t_max_err error = buffer_ref_notify(e->ref, s, msg, sender, data)) {
            object_post(vorb_object(x), "vorb_bufref_notify_all: error = ");
            result = error;
        }
    return result;
}

t_max_err vorb_notify(vorb *x, t_symbol *s, t_symbol *msg, void *sender, void *data)
{
    return vorb_bufref_notify_all(x, s, msg, sender, data);
}

void vorb_dblclick(vorb *x)
{
    inputs &in = x->inputs;
    // Before any table is set the reference has no name and stays out of the list.
    if (in.bufref) buffer_ref_set(in.bufref, in.table);
    else in.bufref = buffer_ref_new(vorb_object(x), in.table);
    if (t_buffer_obj *b = vorb_buffer(in.bufref)) buffer_view(b);
}
