// makedb <file>: creates the empty database that is shipped in the program directory.
#include "Failure.h"
#include "Files.h"
#include "clsDbManager.h"

#include <cstdio>

int main(int argumentCount, char** arguments) {
    if (argumentCount != 2) {
        std::fprintf(stderr, "usage: makedb <file>\nMakes <file>, replacing it, with the two empty tables.\n");
        return 2;
    }
    const std::string path = arguments[1];
    const bool made = platform::Attempt(
        [&] {
            if (platform::FindFirstFileA(path))
                platform::DeleteFile(path);
            platform::Database::Create(path, clsDbManager::Schema());
        },
        [&](const platform::Failure& failure) {
            std::fprintf(stderr, "makedb: %s: %s\n", path.c_str(), failure.Description.c_str());
        });
    return made ? 0 : 1;
}
