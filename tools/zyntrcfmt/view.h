// What becomes of the entries of all inputs.
#pragma once

#include "filters.h"
#include "flow.h"
#include "output.h"
#include "output_text.h"
#include "summary.h"

class View {
  public:
    struct Form {
        bool summary = false; ///< in the place of the lines
        bool indent = false;
    };

    View(const Filters& filters, Form form, Output& output)
        : _filters(filters), _form(form), _output(output) {}

    bool Matches(const Entry& entry) const { return _filters.Match(entry); }
    /// The first part of an entry, which decides about it. Whether it is shown.
    bool Begin(const Entry& entry);
    /// A further part of one that is.
    void Continue(const Entry& entry);
    /// Nothing more is there for now.
    static void Pause() { FlushOut(); }
    /// Prints what stands at the end. Whether anything was shown.
    bool End();

  private:
    const Filters& _filters;
    Form _form;
    Output& _output;
    Summary _summary;
    Flow _flow;
    unsigned long _shown = 0;
    unsigned long _tooShort = 0;
};
