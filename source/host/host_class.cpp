// Externals: loading their files, and the classes they register.
#include "host_state.h"

#include <algorithm>
#include <cstdarg>
#include <dlfcn.h>
#include <filesystem>

namespace host {

static std::vector<std::unique_ptr<t_class>> classes;
static std::vector<std::string> folders;
static std::vector<void *> libraries;
static bool linked_any = false;
static bool loading = false; // what registers now comes from a file

using entry_point = void (*)(void *);

void add_folder(const std::string &folder) { folders.push_back(folder); }

void link(entry_point ext_main)
{
    linked_any = true;
    const in_context main(context::main);
    ext_main(nullptr);
}

t_class *find_class(std::string_view name)
{
    const auto found = std::find_if(classes.rbegin(), classes.rend(), // a later one replaces it
                                    [&](auto &c) { return c->registered && c->name == name; });
    return found == classes.rend() ? nullptr : found->get();
}

/// Looks for the external in the folders; false, with a console line, when there is none to run.
bool load_class(const std::string &name)
{
    for (const std::string &folder : folders) {
        const std::string file = folder + "/" + name + ".so";
        if (!std::filesystem::exists(file)) continue;
        void *library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
        if (!library) {
            object_error(nullptr, "%s", dlerror());
            return false;
        }
        libraries.push_back(library);
        const auto entry = reinterpret_cast<entry_point>(dlsym(library, "ext_main"));
        if (!entry) {
            object_error(nullptr, "%s: no ext_main", file.c_str());
            return false;
        }
        const in_context main(context::main);
        loading = true;
        entry(nullptr);
        loading = false;
        return find_class(name) != nullptr;
    }
    return false;
}

void unload()
{
    reset();
    classes.erase(
        std::remove_if(classes.begin(), classes.end(), [](auto &c) { return c->from_file; }),
        classes.end());
    for (void *library : libraries) dlclose(library);
    libraries.clear();
    if (!linked_any) release_everything();
}

bool understands(const t_object *x, std::string_view selector)
{
    const auto &methods = get(x).type->methods;
    const auto found = methods.find(selector);
    return found != methods.end() &&
           (found->second.types.empty() || found->second.types[0] != A_CANT);
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

static std::vector<int> read_types(int first, va_list args)
{
    std::vector<int> types;
    for (int type = first; type != A_NOTHING; type = va_arg(args, int)) types.push_back(type);
    return types;
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
    c->type = type;
    if (type != A_GIMME)
        host::fault("class_new: this host makes constructors of type A_GIMME only");
    if (c->size < sizeof(t_object)) host::fault("class_new: size is below that of the header");
    return host::classes.emplace_back(std::move(c)).get();
}

t_max_err class_addmethod(t_class *c, method m, C74_CONST char *name, ...)
{
    va_list args;
    va_start(args, name);
    std::vector<int> types = host::read_types(va_arg(args, int), args);
    va_end(args);
    t_class *open = host::open_class(c, "class_addmethod");
    if (!open) return MAX_ERR_INVALID_PTR;
    if (types.size() > MSG_MAXARG) host::fault("class_addmethod: too many typed arguments");
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
