// A stream as a tree.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "header.h"
#include "lines.h"
#include "values.h"

class View {
  public:
    struct Form {
        bool values = false;                ///< the stream holds values in the place of parameters
        std::optional<std::uint32_t> id;    ///< only this parameter, without the header
        std::optional<std::uint16_t> ccsid; ///< of all texts
    };

    View(std::string_view bytes, Form form, Lines& lines)
        : _bytes(bytes), _form(form), _lines(lines), _values(bytes) {}

    /// Shows a stream, whatever state it is in. Whether there was anything to show.
    bool Show(const Stream& stream);

  private:
    /// Where in the tree something stands.
    struct Place {
        std::size_t depth;
        std::uint16_t ccsid; ///< of the texts there
    };

    Place Inside(const Stream& stream, std::size_t depth) const;
    void ShowHeader(const Stream& stream, std::size_t depth);
    void ShowFields(const Stream& stream, std::size_t depth);
    bool ShowParameters(const Stream& stream, Place place);
    void ShowFrame(const Frame& frame, Place place);
    void ShowContent(std::size_t at, std::size_t end, Place place);
    void ShowValues(std::size_t at, std::size_t end, Place place);
    void ShowValue(const Value& value, Place place);
    void ShowBytes(std::size_t at, std::size_t end, std::string_view content, std::size_t depth);

    std::string_view _bytes;
    Form _form;
    Lines& _lines;
    Values _values;
};
