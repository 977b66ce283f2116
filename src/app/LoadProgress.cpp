#include "LoadProgress.h"

namespace basApp {

const char* NameOf(LoadProgress::Step step) {
    switch (step) {
    case LoadProgress::Step::Reading:
        return "reading";
    case LoadProgress::Step::Erasing:
        return "erasing";
    case LoadProgress::Step::Loading:
        return "loading";
    case LoadProgress::Step::Checking:
        return "checking";
    case LoadProgress::Step::Done:
        break;
    }
    return "done";
}

std::int64_t Twentieth(const LoadProgress& progress) {
    return progress.length > 0 ? progress.bytes * 20 / progress.length : 0;
}

} // namespace basApp
