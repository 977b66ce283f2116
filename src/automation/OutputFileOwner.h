#pragma once

#include "Files.h"

#include <memory>

// A text file open for writing, or null.
using OutputFileOwner = std::unique_ptr<platform::OutputFile>;
