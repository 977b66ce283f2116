// The mail that sends the log to support.
#include "CodePage.h"
#include "Dialogs.h"
#include "Failure.h"
#include "Files.h"
#include "Mail.h"
#include "SettingKeys.h"
#include "StoreFiles.h"
#include "basApp.h"
#include "clsDbManager.h"

namespace {

constexpr const char* NO_SESSION = "Failed to establish a mail session.";
constexpr const char* NO_COPY = "Failed to backup database file.";

// For when the program can't mail the file itself.
void AskToSendFile(const char* reason) {
    platform::CurrentDialogs().MessageBox(
        fmt::format("{}  Please send the file '{}' to the proper support personnel.", reason, store::LiveDatabase()),
        basApp::TITLE);
}

std::string AskForAddress() {
    platform::Dialogs& dialogs = platform::CurrentDialogs();
    const bool wanted = dialogs.YesNo("The support e-mail address is currently blank.  Would you like to add a default "
                                      "support e-mail address?",
                                      basApp::TITLE);
    if (!wanted)
        return {};
    return platform::Trim(dialogs.InputBox("Enter the default support e-mail address:", "Support E-mail", ""));
}

bool HaveSession(platform::Mail& mail) {
    if (!mail.SessionExists())
        mail.SignOn();
    return mail.SessionExists();
}

void StartMessage(platform::Mail& mail, const std::string& address) {
    mail.NewMessage();
    if (!address.empty())
        mail.SetRecipient(address);
    mail.SetSubject(fmt::format("{} - Debug Log", basApp::TITLE));
}

} // namespace

std::string clsDbManager::SupportAddress() {
    std::string address =
        platform::Trim(GetSetting(basApp::TITLE, settingKeys::SUPPORT_SECTION, settingKeys::SUPPORT_ADDRESS));
    if (!address.empty())
        return address;
    address = AskForAddress();
    if (!address.empty())
        SaveSetting(basApp::TITLE, settingKeys::SUPPORT_SECTION, settingKeys::SUPPORT_ADDRESS, address);
    return address;
}

std::int32_t clsDbManager::SendErrorReport() {
    if (basApp::globals.PerformUnattendedOperations)
        return -1; // nobody could look at the mail
    std::int32_t result = -1;
    bool copied = false;
    const std::string copy = store::ErrorReportCopy();
    platform::Attempt(
        [&] {
            platform::Mail& mail = platform::CurrentMail();
            const std::string address = SupportAddress();
            if (!HaveSession(mail))
                return AskToSendFile(NO_SESSION);
            StartMessage(mail, address);
            copied = MakeCopy(copy) == 1;
            if (!copied)
                return AskToSendFile(NO_COPY);
            mail.SetAttachment(copy);
            mail.SetText(" ");
            mail.Send();
            platform::DeleteFile(copy);
            result = 1;
        },
        [&](const platform::Failure& failure) {
            LogFailure("SendErrorReport")(failure);
            if (copied) // else the next report would ask whether to overwrite it
                platform::Attempt([&] { platform::DeleteFile(copy); }, platform::IgnoreFailure);
            if (failure.Number != platform::MAIL_CANCELLED)
                AskToSendFile(NO_SESSION);
        });
    return result;
}
