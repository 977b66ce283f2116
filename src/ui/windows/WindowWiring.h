// Joins the windows to the layers below, for the program and for the tests that run it whole.
#pragma once

#include <functional>

// Fills every Hooks struct of the program, those of the windows included. `endProgram` is the last
// step of the shutdown. Call it once, before basApp::Main.
void WireWindows(std::function<void()> endProgram);
