#include "UdevRule.h"

namespace doctor {

const char* const RULE_TEXT =
    R"(# Access to IEEE 1394 nodes for hoistline and HoistlineApp: this computer's adapters, and devices of vendor 000F1B.
# For who sits at the machine (uaccess) and for the group, which also serves remote and unattended sessions.
# A device is known by its GUID or by the vendor in its config ROM, since a GUID can be programmed differently.
SUBSYSTEM!="firewire", GOTO="hoistline_end"
ATTR{is_local}=="1", MODE="0660", GROUP="plugdev", TAG+="uaccess"
ATTR{guid}=="0x000f1b*", MODE="0660", GROUP="plugdev", TAG+="uaccess"
ATTR{vendor}=="0x000f1b", MODE="0660", GROUP="plugdev", TAG+="uaccess"
LABEL="hoistline_end"
)";

} // namespace doctor
