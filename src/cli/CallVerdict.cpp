#include "CallVerdict.h"

#include "EndRequest.h"

namespace cli {

const char* WordOf(Verdict verdict) {
    switch (verdict) {
    case Verdict::Done:
        return "done";
    case Verdict::Failed:
        break;
    case Verdict::Usage:
        return "usage";
    case Verdict::NoBus:
        return "no-bus";
    case Verdict::NoDevice:
        return "no-device";
    case Verdict::Ambiguous:
        return "ambiguous";
    case Verdict::Refused:
        return "refused";
    case Verdict::Unchanged:
        return "unchanged";
    case Verdict::Damaged:
        return "damaged";
    case Verdict::Differs:
        return "differs";
    case Verdict::TimedOut:
        return "timed-out";
    case Verdict::Interrupted:
        return "interrupted";
    }
    return "failed";
}

Verdict VerdictOf(basApp::OutcomeKind outcome) {
    switch (outcome) {
    case basApp::OutcomeKind::Done:
    case basApp::OutcomeKind::Unconfirmed:
        return Verdict::Done;
    case basApp::OutcomeKind::NoDevice:
        return Verdict::NoDevice;
    case basApp::OutcomeKind::Ambiguous:
        return Verdict::Ambiguous;
    case basApp::OutcomeKind::Refused:
        return Verdict::Refused;
    case basApp::OutcomeKind::Unchanged:
        return Verdict::Unchanged;
    case basApp::OutcomeKind::Damaged:
        return Verdict::Damaged;
    case basApp::OutcomeKind::Interrupted:
        return platform::WhyEndRequested() == platform::EndReason::TimeLimit ? Verdict::TimedOut : Verdict::Interrupted;
    case basApp::OutcomeKind::Pending:
    case basApp::OutcomeKind::Failed:
        break;
    }
    return Verdict::Failed;
}

const char* WordOf(basApp::FlashState state) {
    switch (state) {
    case basApp::FlashState::Unchanged:
        return "unchanged";
    case basApp::FlashState::Identical:
        return "identical";
    case basApp::FlashState::Damaged:
        return "damaged";
    case basApp::FlashState::Unknown:
        break;
    }
    return "unknown";
}

} // namespace cli
