// The record of a call as JUnit XML: a suite for the call, a case for each step.
#include "Report.h"

#include "CodePage.h"
#include "Levels.h"

#include <fmt/format.h>

#include <algorithm>

namespace cli {

namespace {

// Text that XML can hold: characters that it has no way to write become "?".
std::string Escaped(const std::string& text) {
    std::string valid = Dump(Json(text), -1); // puts U+FFFD for what isn't UTF-8
    valid = Json::parse(valid).get<std::string>();
    std::string escaped;
    for (const char c : valid) {
        const auto code = static_cast<unsigned char>(c);
        if (c == '&')
            escaped += "&amp;";
        else if (c == '<')
            escaped += "&lt;";
        else if (c == '>')
            escaped += "&gt;";
        else if (c == '"')
            escaped += "&quot;";
        else if (c == '\n' || c == '\t')
            escaped += fmt::format("&#{};", int(code));
        else
            escaped += code < ' ' ? '?' : c;
    }
    return escaped;
}

std::string CaseName(const Step& step) {
    return step.Subject.empty() ? step.Operation : step.Operation + " " + step.Subject;
}

// A call without steps is one case by itself, so that its verdict is seen.
std::vector<Step> CasesOf(const Report& report) {
    std::vector<Step> cases = report.Steps;
    const bool shown = report.Concluded() == Verdict::Done || std::ranges::any_of(cases, [](const Step& step) {
                           return step.Confirmed && step.Outcome != Verdict::Done;
                       });
    if (cases.empty() || !shown) {
        Step& whole = cases.emplace_back();
        whole.Operation = "call";
        whole.Guid = report.Device ? report.Device->Guid : "";
        whole.Outcome = report.Concluded();
        whole.Reason = report.Reason;
        if (report.Steps.empty())
            whole.Seconds = report.Seconds;
    }
    return cases;
}

bool IsError(Verdict verdict) {
    return verdict == Verdict::Failed || verdict == Verdict::Usage || verdict == Verdict::NoBus;
}

// What proves a step, for whoever reads the report later.
std::string Proof(const Step& step) {
    std::string proof;
    if (step.Bytes && step.Length)
        proof += fmt::format("{} of {} bytes\n", *step.Bytes, *step.Length);
    if (step.PackageCrc)
        proof += fmt::format("CRC of the package {}\n", CrcText(*step.PackageCrc));
    if (step.DeviceCrc)
        proof += fmt::format("CRC of the device {}\n", CrcText(*step.DeviceCrc));
    if (!step.Confirmed)
        proof += "The device didn't answer, and need not.\n";
    return proof;
}

std::string SystemOut(const std::string& text, int indent) {
    return text.empty() ? text : fmt::format("{:{}}<system-out>{}</system-out>\n", "", indent, Escaped(text));
}

std::string CaseXml(const Report& report, const Step& step) {
    const std::string open =
        fmt::format("    <testcase classname=\"hoistline.{}{}\" name=\"{}\" time=\"{:.3f}\"", Escaped(report.Command),
                    step.Guid.empty() ? "" : "." + step.Guid, Escaped(CaseName(step)), step.Seconds.value_or(0));
    std::string content;
    if (step.Outcome != Verdict::Done) // the text too, since not every reader shows the attribute
        content = fmt::format("      <{0} type=\"{1}\" message=\"{2}\">{2}</{0}>\n",
                              IsError(step.Outcome) ? "error" : "failure", WordOf(step.Outcome), Escaped(step.Reason));
    content += SystemOut(Proof(step), 6);
    return content.empty() ? open + "/>\n" : open + ">\n" + content + "    </testcase>\n";
}

std::string MessagesText(const Report& report) {
    std::string text;
    for (const LoggedMessage& message : report.Messages)
        text += fmt::format("{} {}: {}\n", basDebug::GetLevelName(message.level), message.module, message.text);
    return text;
}

std::string Property(const char* name, const std::string& value) {
    return fmt::format("      <property name=\"{}\" value=\"{}\"/>\n", name, Escaped(value));
}

} // namespace

std::string ToJUnit(const Report& report) {
    const std::vector<Step> cases = CasesOf(report);
    const auto count = [&](bool errors) {
        return std::ranges::count_if(cases, [errors](const Step& step) {
            return step.Outcome != Verdict::Done && IsError(step.Outcome) == errors;
        });
    };
    std::string xml = fmt::format("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites>\n"
                                  "  <testsuite name=\"hoistline {}\" tests=\"{}\" failures=\"{}\" errors=\"{}\" "
                                  "time=\"{:.3f}\">\n    <properties>\n",
                                  Escaped(report.Command), cases.size(), count(false), count(true), report.Seconds);
    xml += Property("verdict", WordOf(report.Concluded()));
    xml += Property("flash", WordOf(report.Flash));
    xml += Property("bus", report.BusKind);
    if (report.Device) {
        xml += Property("device", report.Device->Guid);
        xml += Property("mode", report.Device->Mode);
    }
    xml += "    </properties>\n";
    for (const Step& step : cases)
        xml += CaseXml(report, step);
    return xml + SystemOut(MessagesText(report), 4) + "  </testsuite>\n</testsuites>\n";
}

} // namespace cli
