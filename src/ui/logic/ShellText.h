// What a terminal sends for a paste.
#pragma once

#include <string>

namespace shellText {

// Every line end as the Return key sends it.
std::string PasteText(const std::string& clipboard);

} // namespace shellText
