// The trace lines of what a test does, for tests of other subsystems.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <unistd.h>

#include "zynktrc.h"

/// While it lives, the lines up to `level` go to a file of its own.
class TraceLines {
  public:
    explicit TraceLines(unsigned long level) {
        setenv("ZYN_TRACE_FILE", _name.c_str(), 1);
        ZynTrace::ReInit();
        ZynTrace::SetFilter(level, 0xFFFF, 0xFFFFFFFF);
    }
    TraceLines(const TraceLines&) = delete;
    TraceLines& operator=(const TraceLines&) = delete;
    ~TraceLines() {
        ZynTrace::SetFilter(0, 0, 0);
        unsetenv("ZYN_TRACE_FILE");
        ZynTrace::ReInit();
        std::filesystem::remove(_name + ".log");
    }

    /// Those that came since the last time: "03,Gn,Kr text". Flow lines, if they are wanted, are
    /// "03,Fl,Kr function,  >entry".
    std::vector<std::string> Take(bool withFlow = false) {
        std::vector<std::string> lines;
        std::ifstream file(_name + ".log");
        file.seekg(_taken);
        for (std::string line; std::getline(file, line);) {
            _taken += static_cast<std::streamoff>(line.size()) + 1;
            // file(line) (codes), process(pid-tid), function, text
            const std::size_t codes = line.find(") (") + 3;
            const std::size_t process = line.find("), ", codes) + 3;
            const std::size_t function = line.find("), ", process) + 3;
            const std::size_t text = line.find(", ", function) + 2;
            const bool isFlow = line.substr(text) == " >entry" || line.substr(text) == " <exit";
            if (!isFlow || withFlow)
                lines.push_back(line.substr(codes, std::strlen("03,Gn,Kr")) + " " +
                                line.substr(isFlow ? function : text));
        }
        return lines;
    }

  private:
    std::string _name =
        (std::filesystem::temp_directory_path() / ("lines" + std::to_string(getpid()))).string();
    std::streamoff _taken = 0;
};
