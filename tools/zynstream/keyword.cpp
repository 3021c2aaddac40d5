#include "keyword.h"

#include <cstring>
#include <iostream>
#include <sstream>
#include <stdexcept>

#include "output_text.h"
#include "zynksdds.h"

std::string ShowKeyword(std::string_view stream, bool byParameters) {
    std::ostringstream refusal;
    try {
        ZynStream printed(stream.size(), ZynStream::Unknown);
        std::memcpy(printed.PreRead(stream.size()), stream.data(), stream.size());
        printed.PostRead(stream.size());
        if (byParameters)
            printed.StreamKeywordDelimited2(std::cout, 0);
        else
            printed.StreamKeywordDelimited(std::cout, 0);
    } catch (const ZynStream::Exception& error) {
        refusal << error;
    }
    if (!std::cout)
        throw std::runtime_error("standard output: can't be written");
    WriteOut("\n");
    return refusal.str();
}
