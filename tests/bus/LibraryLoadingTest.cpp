// A library that doesn't load, and one that isn't ours.
#include "Files.h"
#include "ScriptedLibrary.h"

using namespace testing_support;
using namespace bas1394;

namespace {

class LibraryLoading : public LibraryTest {};

TEST_F(LibraryLoading, SaysWhyALibraryDoesNotLoad) {
    for (const char* content : {"", "this is no shared object"}) {
        SCOPED_TRACE(content);
        log.clear();
        if (*content)
            platform::WriteFileAtomically(folder.file("Twl1394api.so"), ByteArray(content, content + 24));
        EXPECT_EQ(LoadTwl1394Dll(true), nullptr);
        EXPECT_EQ(globals.LibraryModule, nullptr);
        EXPECT_EQ(log[0], "5 About to load 'Twl1394api.dll'...");
        EXPECT_EQ(log[1], "5 App path = '" + folder.path() + "'");
        EXPECT_TRUE(
            Logged("11 ERROR loading Twl1394api.dll!  Call to LoadLibrary returned 0.  The app will generate numerous "
                   "errors and the 1394 interface will not be enabled."));
        EXPECT_EQ(CountLogged("11 Twl1394api.dll could not be loaded: "), 1u);
    }
}

TEST_F(LibraryLoading, RefusesAnotherInterfaceVersion) {
    library::Unbind();
    library::Operations operations = library.Operations();
    operations.InterfaceVersion = [] { return std::uint32_t{2}; };
    std::string reason;
    EXPECT_FALSE(library::BindTo(operations, reason));
    EXPECT_EQ(reason, "it has interface version 2, and version 1 is needed");
    EXPECT_THROW(ResetBus(), platform::Failure);
}

TEST_F(LibraryLoading, GivesEverythingBackAtTheEnd) {
    Allocate1394Memory("0x1000", "64");
    UnloadTwl1394Dll();
    UnloadTwl1394Dll();
    EXPECT_EQ(library.operations, (std::vector<std::string>{"FreeAddressRange 1", "DeRegisterClient"}));
}

} // namespace
