// Lists: texts with a separator between their items.
#include "zynkstr.h"
#include "zynkstr_walk.h"

ZynString::Tokenizer::Tokenizer(const ZynString& list, char separator, bool strip, bool skipEmpty)
    : _separator{separator, '\0'}, _strip(strip), _skipEmpty(skipEmpty) {
    SetList(list);
}

void ZynString::Tokenizer::SetList(const ZynString& list) {
    if (_list == nullptr)
        _list = std::make_unique<ZynString>(list);
    else
        *_list = list;
    _isChecked = false;
    _at = 0;
    if (_list->IsNull())
        return;
    if (_strip)
        _list->StripChar(" ");
    MoveTo(0);
}

// Makes the text from byte `at` on what is left. Its end has been stripped with the whole list.
void ZynString::Tokenizer::MoveTo(unsigned long at) const {
    const char* const text = _list->C_str();
    const unsigned long length = _list->Length();
    do {
        while (_strip && text[at] == ' ')
            ++at;
    } while (_skipEmpty && zynkwalk::BeginsWith(text + at, length - at, *_separator) && ++at != 0);
    _at = at;
    if (_skipEmpty && at == length)
        _list->SetNull();
}

bool ZynString::Tokenizer::Empty() const {
    ZYN_REQUIRE_TEXT(_list != nullptr, "_list != 0");
    return _list->IsNull();
}

ZynString ZynString::Tokenizer::Rest() const {
    ZYN_REQUIRE_TEXT(_list != nullptr, "_list != 0");
    return _list->IsNull() || _at == 0 ? *_list : _list->SubStringByte(_at + 1, _list->Length());
}

// Its byte in the list, or the list's length if there is none. The separator ends in the encoding's
// initial shift state, so that a walk can begin behind it. A valid list stays valid when it is cut
// there: the search that meets what is invalid, in the list or as separator, goes over it once.
unsigned long ZynString::Tokenizer::FindSeparator() const {
    if (!_isChecked)
        _list->PositionChar(_separator, 1);
    _isChecked = true;
    const char* const text = _list->C_str();
    zynkwalk::CharWalk walk(text + _at, _list->Length() - _at);
    for (const char* at = walk.At();; at = walk.At()) {
        const int bytes = walk.Step();
        if (bytes == 1 && *at == *_separator)
            return static_cast<unsigned long>(at - text);
        if (bytes < 0)
            Rest().LengthChar(); // the encoding is another one by now: throws
        if (bytes <= 0)
            return _list->Length();
    }
}

ZynString ZynString::Tokenizer::Next() const {
    ZynString token;
    for (;;) {
        ZYN_REQUIRE_TEXT(_list != nullptr, "_list != 0");
        if (_list->IsNull())
            return token;
        const unsigned long end = FindSeparator();
        if (end < _list->Length()) {
            token = _list->SubStringByte(_at + 1, end - _at);
            MoveTo(end + 1);
        } else {
            token = Rest();
            _list->SetNull();
        }
        if (_strip)
            token.StripChar(" ");
        if (!_skipEmpty || token.Length() > 0)
            return token;
    }
}

ZynString ZynString::MakeList(const ZynString& list, const ZynString& item, char separator) {
    ZYN_REQUIRE(!item.IsNull());
    ZynString made(list.IsNull() ? ZynString("") : list);
    const char separatorText[] = {separator, '\0'};
    if (made.Length() > 0 && item.Length() > 0 &&
        !(made.SubString(made.LengthChar(), 1) == separatorText))
        made |= separatorText;
    const bool bringsOne = zynkwalk::BeginsWith(item.C_str(), item.Length(), separator);
    made |= bringsOne ? item.SubStringByte(2, item.Length()) : item;
    return made;
}

bool ZynString::ListContains(const ZynString& list, const ZynString& item, char separator) {
    if (list.IsNull() || item.IsNull())
        return list.IsNull() && item.IsNull();
    const Tokenizer items(list, separator, true, item.Length() > 0);
    while (!items.Empty())
        if (items.Next() == item)
            return true;
    return false;
}
