#include "common/text.h"

#include <algorithm>
#include <cctype>
#include <cstdio>

namespace quill
{
namespace
{

std::string lowerCase(std::string text)
{
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

/// Optimal string alignment distance, with the last three rows of its table. Letter case does not
/// count.
size_t editDistance(const std::string& typed, const std::string& candidate)
{
    const std::string a = lowerCase(typed);
    const std::string b = lowerCase(candidate);
    std::vector<size_t> beforeLast(b.size() + 1), last(b.size() + 1), row(b.size() + 1);
    for (size_t j = 0; j <= b.size(); ++j) row[j] = j;
    for (size_t i = 1; i <= a.size(); ++i) {
        beforeLast.swap(last);
        last.swap(row);
        row[0] = i;
        for (size_t j = 1; j <= b.size(); ++j) {
            const size_t changed = last[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
            row[j] = std::min({last[j] + 1, row[j - 1] + 1, changed});
            const bool swapped = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
            if (swapped) row[j] = std::min(row[j], beforeLast[j - 2] + 1);
        }
    }
    return row[b.size()];
}

}  // namespace

void SplitString(const std::string& text, const char* delimiters, std::vector<std::string>* pieces,
                 SplitOptions options)
{
    for (size_t start = 0; start <= text.size();) {
        const size_t end = std::min(text.find_first_of(delimiters, start), text.size());
        if (end > start || (options & kSplitKeepEmpty) != 0)
            pieces->push_back(text.substr(start, end - start));
        start = end + 1;
    }
}

std::string formatText(const char* format, va_list values)
{
    va_list again;
    va_copy(again, values);
    const int length = std::vsnprintf(nullptr, 0, format, values);
    std::string text(length > 0 ? static_cast<size_t>(length) : 0, '\0');
    if (length > 0) std::vsnprintf(text.data(), text.size() + 1, format, again);
    va_end(again);
    return text;
}

bool endsWithLineEnd(const std::string& text)
{
    return !text.empty() && text.back() == '\n';
}

std::string nearestText(const std::string& text, const std::vector<std::string>& candidates)
{
    const auto nearer = [&text](const std::string& a, const std::string& b) {
        return editDistance(text, a) < editDistance(text, b);
    };
    const auto nearest = std::min_element(candidates.begin(), candidates.end(), nearer);
    return nearest == candidates.end() ? std::string() : *nearest;
}

std::string escapeControls(const std::string& text)
{
    std::string escaped;
    for (const char c : text) {
        const auto code = static_cast<unsigned char>(c);
        if (code >= 0x20 && code != 0x7F) {
            escaped += c;
        } else if (c == '\n') {
            escaped += "\\n";
        } else {
            char hex[5];
            std::snprintf(hex, sizeof hex, "\\x%02x", code);
            escaped += hex;
        }
    }
    return escaped;
}

}  // namespace quill
