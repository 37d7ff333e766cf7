// Loading externals from their files, whose names and places differ from system to system.
#include "host_state.h"

#include <dlfcn.h>
#include <filesystem>

namespace host {

static std::vector<std::string> folders;
static std::vector<void *> libraries;

using entry_point = void (*)(void *);

void add_folder(const std::string &folder) { folders.push_back(folder); }

void link(entry_point ext_main)
{
    linked_any = true;
    const in_context main(context::main);
    ext_main(nullptr);
}

/// Where in a folder the external of a class lies.
static std::string file_of(const std::string &folder, const std::string &name)
{
#if defined(_WIN32)
    return folder + "/" + name + ".mxe64";
#elif defined(__APPLE__)
    return folder + "/" + name + ".mxo/Contents/MacOS/" + name;
#else
    return folder + "/" + name + ".so";
#endif
}

/// Loads the file of that name from the first folder that has it; says on the console what is wrong
/// with it. Names are plain words: none leads out of the folders.
void load_class(const std::string &name)
{
    if (name.find_first_of("/\\") != name.npos) return;
    for (const std::string &folder : folders) {
        const std::string file = file_of(folder, name);
        std::error_code none;
        if (!std::filesystem::exists(file, none)) continue;
        void *library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
        if (!library) return object_error(nullptr, "%s", dlerror());
        const auto entry = reinterpret_cast<entry_point>(dlsym(library, "ext_main"));
        if (!entry) {
            dlclose(library);
            return object_error(nullptr, "%s: no ext_main", file.c_str());
        }
        libraries.push_back(library);
        const in_context main(context::main);
        loading = true;
        entry(nullptr);
        loading = false;
        return;
    }
}

void unload()
{
    reset();
    forget_classes();
    for (void *library : libraries) dlclose(library);
    libraries.clear();
    if (!linked_any) release_everything();
}

} // namespace host
