// A hex dump of a byte array, as wide as its window in steps of four bytes.
#pragma once

#include "FindLine.h"
#include "Form.h"
#include "HexDumpView.h"
#include "clsLayoutManager.h"

#include <QGroupBox>
#include <QPushButton>

#include <cstdint>
#include <memory>

class frmViewMemory : public Form {
    Q_OBJECT
public:
    frmViewMemory();

    void Form_Load() override;

    std::uint32_t StartAddress = 0; // of the first byte; set before ByteData
    std::int32_t ColumnCount = 4;   // bytes per line
    std::int16_t Index = 0;         // slot in the list of memory viewers
    const ByteArray& ByteData() const { return txtNodeMemory->bytes(); }
    void setByteData(ByteArray bytes); // draws them

    QGroupBox* fraBounding;
    HexDumpView* txtNodeMemory;
    FindLine* txtFind;
    QPushButton* cmdClose;

protected:
    void Form_Resize() override;
    void Form_Unload() override;

private:
    void KeepFindLine();

    std::unique_ptr<clsLayoutManager> layout_;
};
