#include "SourceTree.h"

#include <gtest/gtest.h>

namespace {

std::string Joined(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines)
        text += line + "\n";
    return text;
}

TEST(Layers, EveryIncludeRunsDownward) {
    const SourceTree tree = ReadSources(SOURCE_FOLDER);
    ASSERT_GT(tree.size(), 50u);
    EXPECT_EQ(Joined(UpwardEdges(tree)), "");
}

TEST(Layers, NobodyButThePlatformReadsAClockOrSleeps) {
    EXPECT_EQ(Joined(OwnClocks(ReadSources(SOURCE_FOLDER))), "");
}

TEST(Layers, AFaultOfEachKindIsFound) {
    const SourceTree tree{{"platform/A.h", "#include \"B.h\"\n"},
                          {"app/B.h", "#include \"A.h\"\n"},
                          {"bus/C.cpp", "#include <QString>\nstd::this_thread::sleep_for(x);\n"},
                          {"store/S.cpp", "#include \"D.h\"\n"},
                          {"bus/D.h", ""},
                          {"bus/simulator/X.cpp", "#include \"D.h\"\n"}};
    EXPECT_EQ(Joined(UpwardEdges(tree)), "bus/C.cpp includes Qt\n"
                                         "bus/simulator/X.cpp -> bus/D.h\n"
                                         "platform/A.h -> app/B.h\n"
                                         "store/S.cpp -> bus/D.h\n"
                                         "platform/A.h -> app/B.h closes a loop\n");
    EXPECT_EQ(Joined(OwnClocks(tree)), "bus/C.cpp: sleep_for\n");
}

} // namespace
