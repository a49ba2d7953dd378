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

bool isContinuation(unsigned char byte)
{
    return (byte & 0xC0) == 0x80;
}

/// How many bytes the character at `start` has: 1 to 4, or 0 when it is a control character or no
/// whole UTF-8 character. A terminal takes some bytes from 80 to 9F on their own for controls, and
/// the characters U+0080 to U+009F are the same ones.
size_t printableSize(const std::string& text, size_t start)
{
    const auto first = static_cast<unsigned char>(text[start]);
    if (first < 0x80) return first >= 0x20 && first != 0x7F ? 1 : 0;
    const size_t size = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4 || start + size > text.size()) return 0;
    for (size_t i = 1; i < size; ++i)
        if (!isContinuation(static_cast<unsigned char>(text[start + i]))) return 0;
    // After some first bytes not every second one makes a character.
    const auto second = static_cast<unsigned char>(text[start + 1]);
    const bool isControl = first == 0xC2 && second < 0xA0;
    const bool isTooLong = (first == 0xE0 && second < 0xA0) || (first == 0xF0 && second < 0x90);
    const bool isNoCode = (first == 0xED && second >= 0xA0) || (first == 0xF4 && second >= 0x90);
    return isControl || isTooLong || isNoCode ? 0 : size;
}

std::string escapeOf(char byte)
{
    if (byte == '\n') return "\\n";
    char hex[5];
    std::snprintf(hex, sizeof hex, "\\x%02x", static_cast<unsigned char>(byte));
    return hex;
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
    for (size_t i = 0; i < text.size();) {
        const size_t size = printableSize(text, i);
        escaped += size > 0 ? text.substr(i, size) : escapeOf(text[i]);
        i += std::max<size_t>(size, 1);
    }
    return escaped;
}

}  // namespace quill
