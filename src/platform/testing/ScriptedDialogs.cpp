#include "ScriptedDialogs.h"

namespace platform::testing {

namespace {

std::string Take(std::deque<std::string>& answers) {
    if (answers.empty())
        return {};
    std::string answer = answers.front();
    answers.pop_front();
    return answer;
}

} // namespace

ScriptedDialogs::ScriptedDialogs() {
    UseDialogs(this);
}
ScriptedDialogs::~ScriptedDialogs() {
    UseDialogs(nullptr);
}

void ScriptedDialogs::MessageBox(const std::string& text, const std::string& caption) {
    shown.push_back({text, caption, {}});
}

bool ScriptedDialogs::YesNo(const std::string& text, const std::string& caption) {
    shown.push_back({text, caption, {}});
    return Take(answers) == "yes";
}

std::string ScriptedDialogs::InputBox(const std::string& prompt, const std::string& title, const std::string& first) {
    shown.push_back({prompt, title, first});
    return Take(answers);
}

std::string ScriptedDialogs::SaveFile(const std::string& title, const std::string& first, const std::string&) {
    shown.push_back({title, title, first});
    return Take(answers);
}

} // namespace platform::testing
