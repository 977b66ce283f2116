// The JUnit file of a record: what its cases are called, how they ended, and that any text can be in it.
#include "Report.h"

#include <gtest/gtest.h>

namespace {

cli::Step Step(const char* operation, const char* subject, cli::Verdict outcome, const char* reason = "") {
    cli::Step step;
    step.Operation = operation;
    step.Subject = subject;
    step.Outcome = outcome;
    step.Reason = reason;
    return step;
}

bool Has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

TEST(JUnit, HasACaseForEachStepWhichFailsOrIsAnError) {
    cli::Report report;
    report.Command = "load";
    cli::Step load = Step("load", "application", cli::Verdict::Damaged, "It broke off.");
    load.Guid = "000F1B0000000001";
    load.Bytes = 10, load.Length = 20, load.Seconds = 1.5;
    report.Steps = {Step("reset", "", cli::Verdict::Done), load, Step("read-key", "A", cli::Verdict::Failed)};
    report.End(cli::Verdict::Damaged, "It broke off.");
    const std::string xml = cli::ToJUnit(report);
    for (const char* part :
         {R"(<testsuite name="hoistline load" tests="3" failures="1" errors="1" )",
          R"(<property name="verdict" value="damaged"/>)",
          R"(<testcase classname="hoistline.load" name="reset" time="0.000"/>)",
          R"(<testcase classname="hoistline.load.000F1B0000000001" name="load application" time="1.500">)",
          R"(<failure type="damaged" message="It broke off.">It broke off.</failure>)",
          "<system-out>10 of 20 bytes&#10;</system-out>", R"(name="read-key A" time="0.000">)",
          R"(<error type="failed" )"})
        EXPECT_TRUE(Has(xml, part)) << part << "\n" << xml;
    EXPECT_FALSE(Has(xml, R"(name="call")")) << "a step shows the failure";
}

TEST(JUnit, HasACaseForTheCallWhenNoStepShowsItsEnd) {
    cli::Report report;
    report.Command = "verify";
    report.Seconds = 2;
    report.End(cli::Verdict::NoBus, "a < b & \"c\"\x1B[2J \xFF");
    EXPECT_TRUE(Has(cli::ToJUnit(report),
                    "name=\"call\" time=\"2.000\">\n      <error type=\"no-bus\" message=\"a &lt; b "
                    "&amp; &quot;c&quot;?[2J \xEF\xBF\xBD\">"))
        << cli::ToJUnit(report);
    report.Steps = {Step("verify", "config", cli::Verdict::Done)};
    report.Outcome = cli::Verdict::Interrupted;
    EXPECT_TRUE(Has(cli::ToJUnit(report), R"(tests="2" failures="1" errors="0")")) << cli::ToJUnit(report);
    report.Outcome = cli::Verdict::Done;
    EXPECT_FALSE(Has(cli::ToJUnit(report), R"(name="call")"));
}

} // namespace
