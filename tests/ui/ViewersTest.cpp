// The windows that show a package's CNE data.
#include "Viewers.h"
#include "WindowTest.h"
#include "basUtils.h"
#include "frmConfig.h"
#include "frmViewMemory.h"

#include <QApplication>
#include <QClipboard>
#include <QtTest/QTest>

using namespace testing_support;

namespace {

class Viewers : public WindowTest {
protected:
    void Show(const ByteArray& cne, std::uint32_t startAddress = 0) {
        if (!program)
            Start(Bus({}));
        ShowCneData(cne, startAddress, "a.twd");
        Pass(20);
        memory = Newest<frmViewMemory>();
    }
    // Makes the dump's box wide enough for so many bytes and a few pixels.
    void Widen(int bytes) {
        for (int i = 0; i < 4; ++i) { // the box gets only a share of the added width
            layout::Rectangle place = memory->place();
            place.Width += 800 + bytes * 480 + 100 - layout::Twips(memory->txtNodeMemory->width());
            memory->setPlace(place);
            Pass(20);
        }
    }
    std::string Dump(int columns) const {
        return basUtils::FormatHexDump(memory->StartAddress, memory->ByteData(),
                                       "<columnwidth = " + std::to_string(columns) + ">");
    }
    static std::string Clipboard() { return QApplication::clipboard()->text().toStdString(); }
    frmViewMemory* memory = nullptr;
};

ByteArray Numbers(std::size_t count) {
    ByteArray bytes(count);
    for (std::size_t i = 0; i < count; ++i)
        bytes[i] = static_cast<std::uint8_t>(i);
    return bytes;
}

TEST_F(Viewers, ShowTheDataAsDumpAndAsText) {
    Show({'[', 'G', 0, 'k', 0, 'v', 0, ']', 0}, 0xFC);
    EXPECT_EQ(memory->windowTitle(), "View Memory - CNE data from 'a.twd'");
    EXPECT_EQ(memory->txtNodeMemory->text(), Dump(16));
    const auto* config = Newest<frmConfig>();
    EXPECT_EQ(config->windowTitle(), "Config (CNE) data from 'a.twd'");
    EXPECT_EQ(config->RTB1->toPlainText(), "+G\n  | k=v\n");
}

TEST_F(Viewers, RedrawWhenTheirWidthFitsAnotherNumberOfColumns) {
    Show(Numbers(1023), 0xFFF0);
    for (const int bytes : {12, 13, 8, 17, 24}) {
        Widen(bytes);
        EXPECT_EQ(memory->ColumnCount, bytes / 4 * 4);
        EXPECT_EQ(memory->txtNodeMemory->text(), Dump(bytes / 4 * 4));
    }
    memory->setByteData({7}); // a single byte is never redrawn
    Widen(8);
    EXPECT_EQ(memory->ColumnCount, 24);
}

TEST_F(Viewers, CopyTheLinesThatKeysAndMouseSelect) {
    Show(Numbers(165)); // ten lines of 16 and one of 5
    HexDumpView* view = memory->txtNodeMemory;
    const auto lines = [&](std::size_t first, std::size_t count) {
        return basUtils::HexDumpLines(0, memory->ByteData(), 16, first, count);
    };
    const int height = view->fontMetrics().height();
    QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, {30, height + 2});
    QTest::keyClick(view, Qt::Key_Down, Qt::ShiftModifier);
    view->copy();
    EXPECT_EQ(Clipboard(), lines(1, 2));
    QTest::keyClick(view, Qt::Key_End);
    EXPECT_EQ(view->selectedText(), lines(10, 1));
    QTest::keyClick(view, Qt::Key_Home, Qt::ShiftModifier);
    EXPECT_EQ(view->selectedText(), Dump(16));
    QTest::mouseClick(view->viewport(), Qt::LeftButton, {}, {30, view->height() - 20}); // below the last line
    EXPECT_EQ(view->selectedText(), lines(10, 1));
    view->selectAll();
    view->copy();
    EXPECT_EQ(Clipboard(), Dump(16));
}

TEST_F(Viewers, FindBytesAndReportWhenThereAreNone) {
    Show(Numbers(4096));
    const auto find = [&](const char* text, Qt::KeyboardModifiers backward = {}) {
        memory->txtFind->setText(text);
        QTest::keyClick(memory->txtFind, Qt::Key_Return, backward);
        return memory->txtNodeMemory->selectedText().substr(0, 7);
    };
    EXPECT_EQ(find("1F 20 21"), "0x10: 1"); // across the end of a line
    EXPECT_EQ(find("1F 20 21"), "0x110: ");
    EXPECT_EQ(find("1F 20 21", Qt::ShiftModifier), "0x10: 1");
    EXPECT_EQ(find("1F 20 21", Qt::ShiftModifier), "0xF10: "); // wrapped around
    find("no such text");
    EXPECT_TRUE(WasTold("Find: No 'no such text' found in this memory."));
    FindLine* line = Newest<frmConfig>()->txtFind;
    line->setText("nor here");
    QTest::keyClick(Newest<frmConfig>()->RTB1, Qt::Key_F3);
    EXPECT_TRUE(WasTold("Find: No 'nor here' found in this text."));
}

} // namespace
