#pragma once

#include "Files.h"

#include <memory>

// A text file open for writing, or none.
using OutputFileOwner = std::unique_ptr<platform::OutputFile>;
