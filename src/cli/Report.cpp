#include "Report.h"

#include "Levels.h"
#include "basApp.h"
#include "basUtils.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace cli {

namespace {

const char* OperationName(basApp::OperationKind operation) {
    switch (operation) {
    case basApp::OperationKind::Reset:
        return "reset";
    case basApp::OperationKind::InitializeParameters:
        return "parameters";
    case basApp::OperationKind::ProgramGuid:
        return "guid";
    case basApp::OperationKind::ProgramMac:
        return "mac";
    case basApp::OperationKind::Load:
        return "load";
    case basApp::OperationKind::FactoryDefaults:
        return "factory-defaults";
    case basApp::OperationKind::StartApplication:
        return "start";
    case basApp::OperationKind::ReadKey:
        return "read-key";
    case basApp::OperationKind::WriteKey:
        return "write-key";
    case basApp::OperationKind::None:
        break;
    }
    return "none";
}

std::string SubjectOf(const basApp::StepVerdict& verdict) {
    const char* image = NameOfImage(verdict.ImageType);
    return image == nullptr ? verdict.Key : image;
}

// Null in place of an empty text.
Json TextOrNull(const std::string& text) {
    return text.empty() ? Json(nullptr) : Json(text);
}

double Rounded(double seconds) {
    return std::round(seconds * 1000) / 1000;
}

Json ToJson(const Step& step) {
    Json json{{"operation", step.Operation},
              {"subject", TextOrNull(step.Subject)},
              {"device", TextOrNull(step.Guid)},
              {"outcome", step.Confirmed ? WordOf(step.Outcome) : "unconfirmed"},
              {"reason", TextOrNull(step.Reason)}};
    if (step.Bytes)
        json["bytes"] = *step.Bytes;
    if (step.Length)
        json["length"] = *step.Length;
    if (step.PackageCrc)
        json["packageCrc"] = CrcText(*step.PackageCrc);
    if (step.DeviceCrc)
        json["deviceCrc"] = CrcText(*step.DeviceCrc);
    if (step.Seconds)
        json["seconds"] = Rounded(*step.Seconds);
    if (const std::optional<double> rate = step.Rate())
        json["kBPerSecond"] = Rounded(*rate);
    return json;
}

Json ToJson(const DeviceSummary& device) {
    return {{"node", device.Node},
            {"guid", TextOrNull(device.Guid)},
            {"vendor", TextOrNull(device.Vendor)},
            {"model", TextOrNull(device.Model)}};
}

} // namespace

std::string CrcText(std::uint32_t crc) {
    return fmt::format("0x{:08X}", crc);
}

std::string GuidText(std::span<const std::uint8_t> guid) {
    return basUtils::ByteArrayToHexString(guid.data(), guid.size(), 8);
}

std::string HexText(std::int32_t value) {
    return fmt::format("0x{:X}", Bits(value));
}

std::optional<double> Step::Rate() const {
    if (Operation != "load" || !Bytes || !Seconds || *Seconds <= 0)
        return {};
    return static_cast<double>(*Bytes) / 1000 / *Seconds;
}

void Report::End(Verdict verdict, std::string reason) {
    if (Outcome)
        return;
    Outcome = verdict;
    Reason = std::move(reason);
}

void Report::Spoil(std::string reason) {
    if (Concluded() != Verdict::Done)
        return;
    Outcome = Verdict::Failed;
    Reason = std::move(reason);
}

void Report::Take(const basApp::RunVerdict& run) {
    std::ranges::transform(run.Steps, std::back_inserter(Steps), StepFrom);
    Flash = run.Flash();
    if (const Verdict verdict = VerdictOf(run.Outcome); verdict != Verdict::Done)
        End(verdict, run.Reason);
}

const char* NameOfImage(std::int32_t imageType) {
    constexpr const char* IMAGES[] = {"application", "config", "debugger", "bootloader"};
    return imageType >= 0 && imageType < static_cast<std::int32_t>(std::size(IMAGES)) ? IMAGES[imageType] : nullptr;
}

Step StepFrom(const basApp::StepVerdict& verdict) {
    Step step;
    step.Operation = OperationName(verdict.Operation);
    step.Subject = SubjectOf(verdict);
    if (verdict.Guid != std::array<std::uint8_t, 8>{})
        step.Guid = GuidText(verdict.Guid);
    step.Outcome = VerdictOf(verdict.Outcome);
    step.Confirmed = verdict.Outcome != basApp::OutcomeKind::Unconfirmed;
    step.Reason = verdict.Reason;
    if (verdict.Length > 0) {
        step.Bytes = verdict.Sent;
        step.Length = verdict.Length;
    }
    step.PackageCrc = verdict.PackageCrc;
    step.DeviceCrc = verdict.DeviceCrc;
    if (verdict.Milliseconds >= 0)
        step.Seconds = static_cast<double>(verdict.Milliseconds) / 1000;
    return step;
}

Json ToJson(const Report& report) {
    Json json{{"schema", SCHEMA},
              {"version", basApp::VersionText()},
              {"command", report.Command},
              {"verdict", WordOf(report.Concluded())},
              {"exit", static_cast<int>(report.Concluded())},
              {"reason", TextOrNull(report.Reason)},
              {"bus", nullptr},
              {"device", nullptr},
              {"mode", nullptr},
              {"flash", WordOf(report.Flash)},
              {"steps", Json::array()},
              {"seconds", Rounded(report.Seconds)},
              {"messages", Json::array()},
              {"answer", report.Answer}};
    if (!report.BusKind.empty())
        json["bus"] = {{"kind", report.BusKind},
                       {"description", TextOrNull(report.BusDescription)},
                       {"chosenBy", report.BusReason}};
    if (report.Device) {
        json["device"] = ToJson(*report.Device);
        json["mode"] = report.Device->Mode;
    }
    for (const Step& step : report.Steps)
        json["steps"].push_back(ToJson(step));
    for (const LoggedMessage& message : report.Messages)
        json["messages"].push_back(
            {{"level", basDebug::GetLevelName(message.level)}, {"module", message.module}, {"text", message.text}});
    return json;
}

std::string Dump(const Json& json, int indent) {
    return json.dump(indent, ' ', false, Json::error_handler_t::replace);
}

} // namespace cli
