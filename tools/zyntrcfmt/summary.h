// Counts what would be shown.
#pragma once

#include <map>
#include <string>

#include "flow.h"

class Summary {
  public:
    /// The first part of an entry, and each further one.
    void Begin(const Entry& entry);
    void Continue(const Entry& entry);

    std::string Text() const;

  private:
    /// Lines by some word of theirs.
    class Counts {
      public:
        void Add(const std::string& word);
        std::string Text(const std::string& title) const;

      private:
        std::map<std::string, unsigned long> _counts;
        unsigned long _others = 0;
    };

    unsigned long _lines = 0;
    unsigned long _continuations = 0;
    unsigned long _reports = 0;
    unsigned long _unparsed = 0;
    unsigned long _short = 0;
    std::string _first;
    std::string _last;
    Counts _levels;
    Counts _categories;
    Counts _components;
    Counts _threads;
    Flow _flow;
};
