#include "client/FieldText.h"

#include <utility>

std::vector<std::wstring_view> HotKey::SplitText(std::wstring_view text, std::wstring_view separator)
{
    std::vector<std::wstring_view> fields;
    for (;;)
    {
        const std::size_t end = text.find(separator);
        fields.push_back(text.substr(0, end));
        if (end == std::wstring_view::npos)
        {
            return fields;
        }
        text.remove_prefix(end + separator.size());
    }
}

HotKey::CError HotKey::NotUnderstood(std::wstring text)
{
    return CError{ErrorKind::NotUnderstood, 0, std::move(text)};
}
