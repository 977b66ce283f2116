#include "Modules.h"

#include "CodePage.h"
#include "Paths.h"

#include <dlfcn.h>
#include <sys/stat.h>

namespace platform {

namespace {

struct Globals {
    std::string lastError; // of the last failed load
} globals;

} // namespace

std::string ModuleFileName(const std::string& name) {
    const std::size_t dot = name.rfind('.');
    const bool foreign = dot != std::string::npos && LowerCase(name.substr(dot)) == ".dll";
    return foreign ? name.substr(0, dot) + ".so" : name;
}

std::string ModulePath(const std::string& path) {
    const std::string file = ResolvePath(ModuleFileName(path));
    // Neither from the system's search path nor the program itself.
    return file.find('/') == std::string::npos ? "./" + file : file;
}

Module LoadLibraryA(const std::string& path) {
    const std::string file = ModulePath(path);
    struct stat status {};
    if (stat(file.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) { // opening a pipe would block
        globals.lastError = "not a regular file: " + file;
        return nullptr;
    }
    Module module = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (module == nullptr) {
        const char* reason = dlerror();
        globals.lastError = reason != nullptr ? reason : "unknown reason";
    }
    return module;
}

void* GetProcAddress(Module module, const char* name) {
    return module == nullptr ? nullptr : dlsym(module, name);
}
bool FreeLibrary(Module module) {
    return module != nullptr && dlclose(module) == 0;
}
const std::string& LastModuleError() {
    return globals.lastError;
}

} // namespace platform
