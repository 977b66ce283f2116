// The program's icon, drawn: a board with a hoisting line. No file to ship or lose.
#pragma once

#include <QIcon>

QIcon AppIcon();
