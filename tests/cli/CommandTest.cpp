#include "CommandTest.h"

namespace testing_support {

int CommandTest::Call(const std::vector<std::string>& arguments) {
    out.clear();
    error.clear();
    HeadlessProgram::ResetGlobals();
    cli::Streams streams;
    streams.Out = [this](std::string_view text) {
        out += text;
        return outputWorks;
    };
    streams.Error = [this](std::string_view text) {
        error += text;
        return true;
    };
    streams.OutIsTerminal = outIsTerminal;
    streams.ErrorIsTerminal = errorIsTerminal;
    streams.In = input;
    streams.InIsTerminal = inIsTerminal;
    const int code = cli::Run(arguments, streams);
    busLine.clear();
    for (std::string* text : {&out, &error})
        if (text->starts_with("Bus: ")) {
            busLine = text->substr(0, text->find('\n'));
            text->erase(0, busLine.size() + 1);
        }
    return code;
}

cli::Json CommandTest::Record(std::vector<std::string> arguments) {
    arguments.emplace_back("--json");
    const int code = Call(arguments);
    cli::Json record = cli::Json::parse(out, nullptr, false);
    if (!record.is_object())
        throw std::runtime_error("not one JSON document: " + out);
    EXPECT_EQ(record["exit"], code);
    return record;
}

} // namespace testing_support
