// The commands and their options. The command line is parsed by this description, and help, completion and manual pages
// are made from it.
#pragma once

#include "Call.h"

#include <CLI/CLI.hpp>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace cli {

using RunCommand = std::function<void(Call& call)>;

class CommandSet {
public:
    CommandSet();

    // A command of `parent` (null: of the program) that `run` carries out.
    CLI::App* Add(const std::string& name, const std::string& summary, RunCommand run, CLI::App* parent = nullptr);
    // One that only holds others.
    CLI::App* AddGroup(const std::string& name, const std::string& summary);

    // The one that was parsed, and its name as typed after the program's ("key get"); null and "" without one.
    [[nodiscard]] const RunCommand* Parsed() const;
    [[nodiscard]] std::string ParsedName() const;
    // After a failed parse: why there is no command, as a sentence without its full stop; empty when there is one.
    [[nodiscard]] std::string CommandFault() const;
    // After a failed parse: the file of --junit; empty unless it is certain.
    [[nodiscard]] std::string JUnitFile() const;

    CLI::App app; // the program
    CommonOptions options;

private:
    std::vector<const CLI::App*> ParsedPath() const;

    std::map<const CLI::App*, RunCommand> runs_;
};

// An option or argument that names a file: a relative path belongs to the caller's folder.
CLI::Option* AddFile(CLI::App* command, const std::string& name, std::string& path, const std::string& description);
// The words that the option takes, in any case. Help and completion name them.
CLI::Option* TakesOneOf(CLI::Option* option, const std::vector<std::string>& words);
inline constexpr const char* FILE_VALIDATOR = "file"; // of each AddFile
// Of a command that interrupts a running application only when asked.
CLI::Option* AddResetFlag(CLI::App* command, bool& mayReset);
// The last argument of a device command.
CLI::Option* AddDevice(CLI::App* command, std::string& device);

// Each defined with its command.
void AddBusReset(CommandSet& set);
void AddCrc(CommandSet& set);
void AddCompletion(CommandSet& set);
void AddDoctor(CommandSet& set);
void AddList(CommandSet& set);
void AddInfo(CommandSet& set);
void AddIdentity(CommandSet& set);
void AddKey(CommandSet& set);
void AddLog(CommandSet& set);
void AddLoad(CommandSet& set);
void AddPackage(CommandSet& set);
void AddRecord(CommandSet& set);
void AddReset(CommandSet& set);
void AddRom(CommandSet& set);
void AddShell(CommandSet& set);
void AddSettings(CommandSet& set);
void AddVerify(CommandSet& set);

// All of them.
std::unique_ptr<CommandSet> AllCommands();

} // namespace cli
