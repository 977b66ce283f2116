#include "Mail.h"

#include "Failure.h"
#include "Files.h"
#include "Paths.h"
#include "Processes.h"

#include <fmt/format.h>

#include <tuple>

namespace platform {

namespace {

constexpr const char* COMPOSER = "xdg-email";
// The composer's own codes, 1 to 6, are failures; none says what happens to the mail in the window. 130 (128 + SIGINT)
// is the exit code of a program that the user has interrupted.
constexpr std::uint32_t COMPOSER_INTERRUPTED = 130;

class NoMail : public Mail {
public:
    bool SessionExists() override { return false; }
    void SignOn() override {}
    void NewMessage() override {}
    void SetRecipient(const std::string&) override {}
    void SetSubject(const std::string&) override {}
    void SetAttachment(const std::string&) override {}
    void SetText(const std::string&) override {}
    void Send() override { Raise(MAIL_FAILED, "There is no mail session"); }
};

struct Globals {
    NoMail none;
    Mail* current = nullptr; // null: none
} globals;

bool MayStandInAddressList(char character) {
    const bool letterOrDigit = (character >= '0' && character <= '9') || (character >= 'A' && character <= 'Z') ||
                               (character >= 'a' && character <= 'z');
    return letterOrDigit || std::string_view("-._~@,").find(character) != std::string_view::npos;
}

// RFC 6068. The composer might take a bare argument for an option, or refuse one that lacks an "@" before the user can
// correct it.
std::string MailtoUri(const std::string& addresses) {
    std::string uri = "mailto:";
    for (const char character : addresses)
        uri += MayStandInAddressList(character) ? std::string(1, character)
                                                : fmt::format("%{:02X}", static_cast<unsigned char>(character));
    return uri;
}

std::string FileNameOf(const std::string& path) {
    return path.substr(path.find_last_of("/\\") + 1);
}

} // namespace

void UseMail(Mail* mail) {
    globals.current = mail;
}
Mail& CurrentMail() {
    return globals.current != nullptr ? *globals.current : globals.none;
}

ComposerMail::ComposerMail(std::uint32_t longestWait) : longestWait_(longestWait) {
    UseMail(this);
}
ComposerMail::~ComposerMail() {
    UseMail(nullptr);
}

bool ComposerMail::SessionExists() {
    return IsOnPath(COMPOSER);
}

void ComposerMail::NewMessage() {
    message_ = {};
}
void ComposerMail::SetRecipient(const std::string& address) {
    message_.recipient = address;
}
void ComposerMail::SetSubject(const std::string& subject) {
    message_.subject = subject;
}
void ComposerMail::SetAttachment(const std::string& path) {
    message_.attachment = path;
}
void ComposerMail::SetText(const std::string& text) {
    message_.text = text;
}

void ComposerMail::Send() {
    const std::string kept = message_.attachment.empty() ? std::string() : KeepAttachment();
    try {
        Compose(Command(kept));
    } catch (...) {
        if (!kept.empty()) // nobody will read it
            Attempt([&] { DeleteFile(kept); }, IgnoreFailure);
        throw;
    }
}

// The mail program may read the file long after the composer has ended, so it gets a copy that stays until the next
// mail replaces it.
std::string ComposerMail::KeepAttachment() const {
    const std::string folder = JoinPath(UserFolder("XDG_CACHE_HOME", ".cache"), "mail");
    MakeDirectories(folder);
    std::string kept = JoinPath(folder, FileNameOf(message_.attachment));
    CopyFile(message_.attachment, kept);
    return kept;
}

std::vector<std::string> ComposerMail::Command(const std::string& attachment) const {
    std::vector<std::string> command = {COMPOSER, "--utf8"};
    const auto add = [&](const char* option, const std::string& value) {
        if (!value.empty())
            command.insert(command.end(), {option, value});
    };
    add("--subject", message_.subject);
    add("--body", message_.text);
    add("--attach", attachment);
    if (!message_.recipient.empty())
        command.push_back(MailtoUri(message_.recipient));
    return command;
}

void ComposerMail::Compose(const std::vector<std::string>& command) const {
    const Handle composer = OpenProcess(PROCESS_QUERY_INFORMATION, false, Start(command));
    std::uint32_t exitCode = STILL_ACTIVE;
    std::ignore = WaitForSingleObject(composer, longestWait_); // the exit code says whether it has ended
    std::ignore = GetExitCodeProcess(composer, exitCode);
    CloseHandle(composer);
    if (exitCode == COMPOSER_INTERRUPTED)
        Raise(MAIL_CANCELLED, "The user cancelled the mail", COMPOSER);
    if (exitCode != 0 && exitCode != STILL_ACTIVE)
        Raise(MAIL_FAILED, fmt::format("The mail program could not be opened ({} ended with {})", COMPOSER, exitCode),
              COMPOSER);
}

} // namespace platform
