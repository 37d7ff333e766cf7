// The classes that externals register.
#include "host_state.h"

#include <algorithm>
#include <cstdarg>

namespace host {

static std::vector<std::unique_ptr<t_class>> classes;
bool loading = false, linked_any = false;

t_class *find_class(std::string_view name)
{
    const auto found = std::find_if(classes.rbegin(), classes.rend(), // a later one replaces it
                                    [&](auto &c) { return c->registered && c->name == name; });
    return found == classes.rend() ? nullptr : found->get();
}

void forget_classes()
{
    classes.erase(
        std::remove_if(classes.begin(), classes.end(), [](auto &c) { return c->from_file; }),
        classes.end());
}

bool is_registered(const t_class *c)
{
    return std::any_of(classes.begin(), classes.end(),
                       [c](auto &known) { return known.get() == c && known->registered; });
}

/// A class still being built, or null, which is a fault of the call named.
static t_class *open_class(const t_class *c, const char *call)
{
    main_only(call);
    for (const auto &known : classes)
        if (known.get() == c && !known->registered) return known.get();
    fault(call, ": no class, or one that is registered already");
    return nullptr;
}

static std::vector<int> read_types(va_list args)
{
    std::vector<int> types;
    while (const int type = va_arg(args, int)) {
        types.push_back(type);
        if (types.size() > MSG_MAXARG) break; // the closing 0 may be missing
    }
    return types;
}

/// A_GIMME and A_CANT stand alone; the rest are numbers and symbols, seven at most.
static bool can_call(const std::vector<int> &types)
{
    if (types.size() == 1 && (types[0] == A_GIMME || types[0] == A_CANT)) return true;
    return types.size() <= MSG_MAXARG && std::all_of(types.begin(), types.end(), [](int type) {
               return (type >= A_LONG && type <= A_SYM) || (type >= A_DEFLONG && type <= A_DEFSYM);
           });
}

} // namespace host

t_class *class_new(C74_CONST char *name, method mnew, method mfree, long size, method mmenu,
                   short type, ...)
{
    host::main_only("class_new");
    if (mmenu) host::fault("class_new: the menu function is obsolete");
    auto c = std::make_unique<t_class>();
    c->name = name;
    c->from_file = host::loading;
    c->make = mnew;
    c->free = mfree;
    c->size = static_cast<size_t>(size);
    if (type != A_GIMME)
        host::fault("class_new: this host makes constructors of type A_GIMME only");
    if (c->size < sizeof(t_object)) host::fault("class_new: size is below that of the header");
    return host::classes.emplace_back(std::move(c)).get();
}

t_max_err class_addmethod(t_class *c, method m, C74_CONST char *name, ...)
{
    va_list args;
    va_start(args, name);
    std::vector<int> types = host::read_types(args);
    va_end(args);
    t_class *open = host::open_class(c, "class_addmethod");
    if (!open) return MAX_ERR_INVALID_PTR;
    if (!host::can_call(types)) {
        host::fault("class_addmethod: types that this host does not know, or too many: ", name);
        return MAX_ERR_GENERIC;
    }
    open->methods[name] = {m, std::move(types)};
    return MAX_ERR_NONE;
}

void class_dspinit(t_class *c)
{
    if (t_class *open = host::open_class(c, "class_dspinit")) {
        open->signal = true;
        if (open->size < sizeof(t_pxobject))
            host::fault("class_dspinit: size is below that of the signal header");
    }
}

t_max_err class_register(t_symbol *name_space, t_class *c)
{
    t_class *open = host::open_class(c, "class_register");
    if (!open) return MAX_ERR_INVALID_PTR;
    if (name_space != gensym("box")) host::fault("class_register: this host knows only boxes");
    for (const char *own : {"signal", "userconnect", "nsiginlets", "enable"})
        if (open->signal && open->methods.count(own))
            host::fault("class_register: the host itself binds a signal class's ", own);
    open->registered = true;
    return MAX_ERR_NONE;
}
