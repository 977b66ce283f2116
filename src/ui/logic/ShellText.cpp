#include "ShellText.h"

#include <cstddef>

namespace shellText {

std::string PasteText(const std::string& clipboard) {
    std::string text;
    for (std::size_t i = 0; i < clipboard.size(); ++i) {
        const bool lineEnd = clipboard[i] == '\n';
        if (lineEnd && i > 0 && clipboard[i - 1] == '\r')
            continue; // the CR before it has been taken
        text.push_back(lineEnd ? '\r' : clipboard[i]);
    }
    return text;
}

} // namespace shellText
