#include "Verdict.h"

#include <algorithm>
#include <utility>

namespace basApp {

namespace {

bool HasWritten(const StepVerdict& step) {
    constexpr OperationKind WRITING[] = {OperationKind::InitializeParameters, OperationKind::ProgramGuid,
                                         OperationKind::ProgramMac, OperationKind::Load, OperationKind::WriteKey};
    return step.Outcome == OutcomeKind::Done && std::ranges::count(WRITING, step.Operation) > 0;
}

bool IsFailure(const StepVerdict& step) {
    return step.Outcome != OutcomeKind::Done && step.Outcome != OutcomeKind::Unconfirmed;
}

} // namespace

FlashState RunVerdict::Flash() const {
    for (const FlashState state : {FlashState::Damaged, FlashState::Unknown, FlashState::Identical})
        if (std::ranges::count(Steps, state, &StepVerdict::Flash) > 0)
            return state;
    return FlashState::Unchanged;
}

void RunVerdict::End(OutcomeKind outcome, std::string reason) {
    if (Outcome != OutcomeKind::Pending)
        return;
    const bool untouched = outcome == OutcomeKind::Unchanged || outcome == OutcomeKind::Refused;
    Outcome = untouched && std::ranges::any_of(Steps, HasWritten) ? OutcomeKind::Failed : outcome;
    Reason = std::move(reason);
}

void RunVerdict::Conclude() {
    for (const OutcomeKind first : {OutcomeKind::Interrupted, OutcomeKind::Damaged}) {
        const auto found = std::ranges::find(Steps, first, &StepVerdict::Outcome);
        if (found != Steps.end())
            End(first, found->Reason);
    }
    const auto failed = std::ranges::find_if(Steps, IsFailure);
    if (failed != Steps.end())
        End(failed->Outcome, failed->Reason);
    End(Result < 0 ? OutcomeKind::Failed : OutcomeKind::Done, {});
}

} // namespace basApp
