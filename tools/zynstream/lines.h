// The lines of the tree.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

class Lines {
  public:
    enum class Look { Plain, Head, Text, Faint, Fault };

    struct Form {
        bool colors = false;
        bool hex = false;     ///< bytes beside the text
        std::size_t base = 0; ///< is added to the offsets
    };

    explicit Lines(Form form) : _form(form) {}

    /// @param text  has no control characters
    /// @param bytes that the line tells of, from `at` on
    void Print(std::size_t at, std::size_t depth, std::string_view text, Look look = Look::Plain,
               std::string_view bytes = {});
    bool IsHex() const { return _form.hex; }

  private:
    void Begin(std::size_t at);
    void End();
    void PrintHex(std::size_t at, std::size_t column, std::string_view bytes);

    Form _form;
    std::string _line;
};
