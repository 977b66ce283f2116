// hoistline settings: the stored settings, by section and key.
#include "BusSession.h"
#include "CodePage.h"
#include "Commands.h"
#include "KnownSettings.h"
#include "Program.h"
#include "StoreReading.h"
#include "Table.h"
#include "basApp.h"

#include <algorithm>
#include <limits>

namespace cli {

namespace {

struct SettingName {
    std::string section, key, value;
};

// A setting that is known, stored, or both.
struct Setting {
    std::string section, key;
    const program::KnownSetting* known = nullptr;
    std::optional<std::string> stored; // an empty value counts as none, as for the program

    std::string Value() const { return stored ? *stored : known != nullptr ? known->Default : ""; }
    std::string Bounds() const { return known != nullptr ? program::BoundsText(*known) : ""; }
    std::string Fault() const { return stored && known != nullptr ? program::SettingFault(*known, *stored) : ""; }
};

bool SameText(const std::string& a, const std::string& b) {
    return platform::UpperCase(a) == platform::UpperCase(b);
}

Setting* Find(std::vector<Setting>& settings, const std::string& section, const std::string& key) {
    const auto found = std::ranges::find_if(settings, [&](const Setting& setting) {
        return SameText(setting.section, section) && SameText(setting.key, key);
    });
    return found == settings.end() ? nullptr : &*found;
}

std::vector<Setting> ReadSettings() {
    std::vector<Setting> settings;
    for (const program::KnownSetting& known : program::KnownSettings())
        settings.push_back({known.Section, known.Key, &known, std::nullopt});
    for (const store::StoredSetting& stored :
         store::HasDatabase() ? store::ReadSettings() : std::vector<store::StoredSetting>()) {
        Setting* setting = Find(settings, stored.Section, stored.Key);
        if (setting == nullptr)
            setting = &settings.emplace_back(Setting{stored.Section, stored.Key, nullptr, std::nullopt});
        if (!setting->stored && !stored.Value.empty())
            setting->stored = stored.Value;
    }
    return settings;
}

Json ToJson(const Setting& setting) {
    return {{"section", setting.section},
            {"key", setting.key},
            {"value", setting.Value()},
            {"stored", setting.stored.has_value()},
            {"bounds", setting.Bounds().empty() ? Json(nullptr) : Json(setting.Bounds())},
            {"default", setting.known != nullptr ? Json(setting.known->Default) : Json(nullptr)},
            {"meaning", setting.known != nullptr ? Json(setting.known->Meaning) : Json(nullptr)},
            {"fault", setting.Fault().empty() ? Json(nullptr) : Json(setting.Fault())}};
}

void TellFault(Call& call, const Setting& setting) {
    if (!setting.Fault().empty())
        call.Tell(fmt::format("hoistline: {} {}: \"{}\" can't be used: {}", Printable(setting.section),
                              Printable(setting.key), Printable(*setting.stored), setting.Fault()));
}

void List(Call& call) {
    const std::vector<Setting> settings = ReadSettings();
    Json all = Json::array();
    std::vector<TableRow> rows = {{"SECTION", "KEY", "VALUE", "DEFAULT", "BOUNDS", "MEANING"}};
    const auto shown = [](const std::string& text) { return text.empty() ? "-" : Printable(text); };
    for (const Setting& setting : settings) {
        all.push_back(ToJson(setting));
        rows.push_back({shown(setting.section), shown(setting.key), setting.stored ? shown(*setting.stored) : "-",
                        setting.known != nullptr ? shown(setting.known->Default) : "-", shown(setting.Bounds()),
                        setting.known != nullptr ? setting.known->Meaning : "-"});
        TellFault(call, setting);
    }
    call.report.Answer = {{"settings", std::move(all)}};
    PrintTable(call, rows);
}

// Refused without one.
bool FindNamed(Call& call, const SettingName& name, Setting& setting) {
    std::vector<Setting> settings = ReadSettings();
    const Setting* found = Find(settings, name.section, name.key);
    if (found == nullptr)
        return call.End(Verdict::Refused,
                        fmt::format("There is no setting {} {}; \"hoistline settings list\" shows them all.",
                                    name.section, name.key));
    setting = *found;
    return true;
}

void Get(Call& call, const SettingName& name) {
    Setting setting;
    if (!FindNamed(call, name, setting))
        return;
    call.report.Answer = ToJson(setting);
    call.Print(Printable(setting.Value()));
    TellFault(call, setting);
}

// Of a setting that isn't known only that a number stays one: a window's place, say.
std::string FaultOf(const Setting& setting, const std::string& value) {
    using Limits = std::numeric_limits<std::int32_t>;
    if (value.empty())
        return "an empty value can't be stored; use \"hoistline settings unset\"";
    if (value.find('\0') != std::string::npos)
        return "it holds a NUL";
    if (setting.known != nullptr)
        return program::SettingFault(*setting.known, value);
    if (program::IsWholeNumber(setting.Value(), Limits::min(), Limits::max()) &&
        !program::IsWholeNumber(value, Limits::min(), Limits::max()))
        return "it isn't a number, as the stored one is";
    return {};
}

// With the store open, and by reading what it holds afterwards: the store itself reports nothing.
void Change(Call& call, const Setting& setting, const std::string& value) {
    BusSession session(call);
    session.OpenStore();
    clsDbManager& store = *program::globals.DbManager;
    if (value.empty())
        store.RemoveSetting(basApp::TITLE, setting.section, setting.key);
    else
        store.SaveSetting(basApp::TITLE, setting.section, setting.key, value);
    if (store.GetSetting(basApp::TITLE, setting.section, setting.key) == value)
        return;
    const std::string& notice = basApp::globals.StoreNotice;
    call.End(Verdict::Failed, notice.empty() ? "The setting can't be stored." : notice);
}

void Set(Call& call, const SettingName& name) {
    call.showsVerdict = true;
    Setting setting;
    if (!FindNamed(call, name, setting))
        return;
    if (const std::string fault = FaultOf(setting, name.value); !fault.empty()) {
        call.End(Verdict::Refused,
                 fmt::format("\"{}\" isn't stored in {} {}: {}.", name.value, setting.section, setting.key, fault));
        return;
    }
    Change(call, setting, name.value);
    setting.stored = name.value;
    call.report.Answer = ToJson(setting);
}

void Unset(Call& call, const SettingName& name) {
    call.showsVerdict = true;
    Setting setting;
    if (!FindNamed(call, name, setting))
        return;
    if (setting.stored)
        Change(call, setting, "");
    setting.stored.reset();
    call.report.Answer = ToJson(setting);
}

} // namespace

void AddSettings(CommandSet& set) {
    CLI::App* group = set.AddGroup("settings", "show and change the stored settings");
    set.Add("list", "list all settings: what is stored, their defaults and bounds", List, group);
    const auto add = [&](const char* name, const char* summary, void (*run)(Call&, const SettingName&)) {
        auto options = std::make_shared<SettingName>();
        CLI::App* command = set.Add(
            name, summary, [options, run](Call& call) { run(call, *options); }, group);
        command->add_option("SECTION", options->section, "such as Global")->required()->type_name("");
        command->add_option("KEY", options->key, "such as DebugLoggingLevel")->required()->type_name("");
        return std::pair(command, options);
    };
    add("get", "show one setting: what is stored, else its default", Get);
    const auto [command, options] = add("set", "store a setting, which programs read when they start", Set);
    command->add_option("VALUE", options->value, "the new value")->required()->type_name("");
    add("unset", "remove what is stored, so that the default holds", Unset);
}

} // namespace cli
