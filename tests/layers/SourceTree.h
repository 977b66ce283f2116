// The includes of a source tree, held against the order of its layers.
#pragma once

#include <map>
#include <string>
#include <vector>

// Path below the source folder -> text.
using SourceTree = std::map<std::string, std::string>;

SourceTree ReadSources(const std::string& folder);
// One line for each include that runs upward, for each header name that stands twice, for each
// include loop, and for each Qt header below the windows.
std::vector<std::string> UpwardEdges(const SourceTree& tree);
// One line for each place outside the platform that sleeps or reads a clock by itself.
std::vector<std::string> OwnClocks(const SourceTree& tree);
