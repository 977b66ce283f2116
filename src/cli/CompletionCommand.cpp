// hoistline completion: the completion script of a shell. hoistline manual, which help doesn't show, writes the manual
// pages for the installation.
#include "CallFiles.h"
#include "Description.h"
#include "Paths.h"

namespace cli {

namespace {

void PrintScript(Call& call, const std::string& shell) {
    std::string script = CompletionScript(Describe(*AllCommands()), shell);
    call.report.Answer = {{"shell", shell}, {"script", script}};
    script.pop_back(); // Print ends it
    call.Print(script);
}

void WritePages(Call& call, const std::string& folder) {
    for (const ManualPage& page : ManualPages(Describe(*AllCommands())))
        if (!WriteOutput(call, platform::JoinPath(folder, page.File), ByteArray(page.Text.begin(), page.Text.end())))
            return;
}

} // namespace

void AddCompletion(CommandSet& set) {
    auto shell = std::make_shared<std::string>();
    CLI::App* completion = set.Add("completion", "print the completion script of a shell",
                                   [shell](Call& call) { PrintScript(call, *shell); });
    TakesOneOf(completion->add_option("SHELL", *shell, "a shell")->required(), {"bash", "zsh", "fish"});
    auto folder = std::make_shared<std::string>();
    CLI::App* manual =
        set.Add("manual", "write the manual pages into a folder", [folder](Call& call) { WritePages(call, *folder); });
    manual->group("");
    AddFile(manual, "FOLDER", *folder, "an existing folder")->required()->type_name("");
}

} // namespace cli
