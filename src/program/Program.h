// The program as a whole: its store, its front end, and the layers joined to each other.
//
//   platform::EventLoop loop;
//   program::PlainFrontEnd frontEnd([&] { loop.End(); });
//   program::UseFrontEnd(frontEnd);
//   if (basApp::Main("/D app.twd"))
//       loop.Run();
#pragma once

#include "FrontEnd.h"
#include "PlainFrontEnd.h"
#include "ProgramEnd.h"
#include "StartUp.h"
#include "WhichBus.h"
#include "WindowSystem.h"
#include "clsDbManager.h"

#include <memory>
#include <string>

namespace program {

struct Globals {
    std::unique_ptr<clsDbManager> DbManager; // from Main to ShutdownApplication
    std::string BusOption;                   // what --bus names; "" without it
    std::string BusVariable;                 // what HOISTLINE_BUS names, with a whole path; "" without it
    std::string RecordVariable;              // what HOISTLINE_RECORD names, likewise
    WhichBus Bus;                            // what has been decided
    bool EndReported = false;                // a message has said that a signal ends the program
};
extern Globals globals;

// Sets the front end and fills the hooks of every layer. Once, before basApp::Main. The caller keeps ownership until
// the program has ended.
void UseFrontEnd(basApp::FrontEnd& frontEnd);

// The store, for StartUp.
void CreateStore();
void ReleaseStore();
// Setting of section "Global"; the default while there is no store.
std::string GlobalSetting(const std::string& key, const std::string& defaultValue);

} // namespace program
