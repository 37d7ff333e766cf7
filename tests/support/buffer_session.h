// Buffer references of one instance, and buffers that are told apart by their level.
#pragma once

#include "session.h"

class buffers : public session {
protected:
    static std::vector<std::string> names(const vorb *x)
    {
        std::vector<std::string> list;
        for (const vorb_bufref_entry *e = x->bufref_list; e; e = e->next)
            list.push_back(e->name->s_name);
        return list;
    }

    void set(vorb *x, const std::string &name)
    {
        send(x, 0, "set " + name);
        host::drain();
    }

    static t_buffer_ref *find(vorb *x, const char *name)
    {
        return vorb_bufref_find_entry(x, gensym(name));
    }

    /// A buffer that sounds as this value wherever it is read.
    static void level(const std::string &name, double value, long channels = 1)
    {
        host::set_buffer(
            name, channels, 44100,
            std::vector<float>(static_cast<size_t>(channels * 4000), static_cast<float>(value)));
    }

    /// Stands still in its sample at full level for a long time.
    vorb *listener(const std::string &name) { return create("1 " + name + " 5 0 0 0 1 0 60000 0"); }
};
