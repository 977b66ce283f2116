// Shared objects loaded at run time, by the module name of the platform of old: "X.dll" is "X.so".
#pragma once

#include <cstdint>
#include <string>

namespace platform {

using Module = void*;

std::string ModuleFileName(const std::string& name); // "Twl1394api.dll" gives "Twl1394api.so"
Module LoadLibraryA(const std::string& path);        // null on failure, the reason in LastModuleError
void* GetProcAddress(Module module, const char* name);
bool FreeLibrary(Module module);
const std::string& LastModuleError();

} // namespace platform
