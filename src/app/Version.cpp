// A file of its own: another version compiles nothing else.
#include "basApp.h"

namespace basApp {

const int VERSION_MAJOR = HOISTLINE_VERSION_MAJOR;
const int VERSION_MINOR = HOISTLINE_VERSION_MINOR;
const int VERSION_REVISION = HOISTLINE_VERSION_REVISION;

} // namespace basApp
