// Loads from the browser while a terminal on another device polls a flood of lines and the status window is flooded
// with messages. In each load something goes wrong after another transaction, at a stride.
#include "Twl1394api.h"
#include "WindowTest.h"
#include "bas1394.h"
#include "basBootloader.h"
#include "frmSelectFirmware.h"
#include "frmShell.h"

#include <QtTest/QTest>

#include <functional>
#include <iostream>

namespace testing_support {

namespace {

class BrowserSweep : public WindowTest {
protected:
    void SetUp() override {
        Start(Bus({Target("000F1B0000000001", "bootloader"),
                   Target("000F1B0000000002", "bootloader", R"(, "shell": {"ring": 256})")}));
        SelectRow(RowOf(1));
        ASSERT_TRUE(Choose("mnuLaunchShell"));
        shell_ = Newest<frmShell>();
        program->windowSystem.eachTurn = [] {
            QCoreApplication::processEvents();
            basApp::StatusDisplay(LEVEL_USER, "something else happens");
        };
        transactions = Load([] {});
        ASSERT_EQ(loaded, 1);
        ASSERT_GT(shell_->txtShell->blockCount(), 20) << "the other device is silent";
    }
    void TearDown() override { std::cout << runs << " loads, " << loaded << " of them succeeded\n"; }

    // One load of an image of its own by a browser of its own; the number of transactions it took.
    std::uint64_t Load(const std::function<void()>& trouble) {
        do { // until trouble that the previous run didn't reach is over
            SimulatorBusReset();
            Pass(4000);
        } while (RowOf(0) < 0 || RowOf(1) < 0);
        QTest::keyClicks(shell_->txtShell, "flood 40");
        QTest::keyClick(shell_->txtShell, Qt::Key_Return);
        const ByteArray image(2500, std::uint8_t(++runs));
        program->Write("packages/sweep.twd", Package(image));
        SelectRow(RowOf(0));
        EXPECT_TRUE(Choose("mnuUpdateApplicationFirmware"));
        auto* browser = Newest<frmSelectFirmware>();
        EXPECT_TRUE(browser->SelectFile(program->directory.file("packages/sweep.twd")));
        ForgetTold();
        trouble();
        const std::uint64_t before = SimulatorTransactions();
        browser->cmdLoadSelected->click();
        const std::uint64_t took = SimulatorTransactions() - before;
        const bool success = WasTold("Successfully loaded");
        loaded += success;
        EXPECT_EQ(success, browser->lblStatus->text().startsWith("Successfully loaded"));
        EXPECT_TRUE(success || WasTold("ailed") || WasTold("ailure")) << "the failure isn't reported";
        EXPECT_TRUE(!success || program->Flash(0, "application") == image) << "a success with a different flash";
        EXPECT_TRUE(browser->cmdClose->isEnabled() && browser->cmdPreferences->isEnabled());
        const bool isThere = basBootloader::GetNodeNum(browser->hDevice()).NodeNum <= 62;
        EXPECT_EQ(browser->cmdLoadSelected->isEnabled(), isThere);
        EXPECT_FALSE(browser->cmdLoadConfig->isEnabled());
        EXPECT_FALSE(basApp::globals.DownloadInProgress);
        browser->cmdClose->click();
        Pass(100);
        EXPECT_TRUE(form().isEnabled());
        return took;
    }

    std::uint64_t transactions = 0;
    int runs = 0, loaded = 0;

private:
    frmShell* shell_ = nullptr;
};

TEST_F(BrowserSweep, ABusResetAfterAnyTransactionEndsInALoadOrAClearFailure) {
    constexpr std::uint64_t STRIDE = 12;
    for (std::uint64_t k = 1; k <= transactions; k += STRIDE) {
        SCOPED_TRACE(k);
        Load([k] { SimulatorResetAfter(SimulatorTransactions() + k); });
    }
}

TEST_F(BrowserSweep, AFailedTransactionEndsInALoadOrAClearFailure) {
    constexpr std::uint64_t STRIDE = 24;
    for (const std::int32_t code : {TWL1394_NODE_DID_NOT_RESPOND, TWL1394_TIMED_OUT})
        for (std::uint64_t k = 0; k < transactions; k += STRIDE)
            for (const std::uint64_t count : {1, 5}) {
                SCOPED_TRACE(testing::Message() << code << " after " << k << ", " << count << " times");
                Load([=] { SimulatorFailNext(k, count, code); });
            }
}

} // namespace

} // namespace testing_support
