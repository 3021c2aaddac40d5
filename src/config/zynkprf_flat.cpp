// The flat functions of the configuration: no exception passes them.
#include <algorithm>
#include <cstring>

#include "zynkflat.h"
#include "zynkprf.h"
#include "zynktrc.h"
#include "zynkxcp.h"

long ZynPrfCurrentConfig(const char* cfg) {
    ZYN_FLOW("ZynPrfCurrentConfig", ZynTrace::FlowLevel, ZynTrace::Kernel);
    try {
        ZynProfile::CurrentConfig(cfg);
        return 0;
    } catch (const ZynNoSuchConfigException&) {
        ZYN_TRACE_IN("ZynPrfCurrentConfig", 1, ZynTrace::Error, ZynTrace::Kernel,
                     "ConfigurationID not found in ZynPrfCurrentConfig()");
    } catch (...) {
        ZYN_TRACE_IN("ZynPrfCurrentConfig", 1, ZynTrace::Error, ZynTrace::Kernel,
                     "Unknown exception occured in ZynPrfCurrentConfig()");
    }
    return -1;
}

long ZynPrfLanguage(char* buffer, long size) {
    ZYN_FLOW("ZynPrfLanguage", ZynTrace::FlowLevel, ZynTrace::Kernel);
    try {
        const ZynString language = ZynProfile::Language();
        if (language.IsNull() || buffer == nullptr)
            return 0;
        const auto length = static_cast<long>(language.Length());
        const auto copied = static_cast<std::size_t>(std::clamp(size, 0L, length));
        std::memcpy(buffer, language.C_str(), copied);
        buffer[copied] = '\0';
        return length;
    } catch (const ZynOSException& failure) {
        ZYN_TRACE_IN("ZynPrfLanguage", 1, ZynTrace::SystemCall, ZynTrace::Kernel,
                     failure.ServiceName() << "() , RetCode =" << failure.ReturnCode()
                                           << " , ReasonCode =" << failure.ReasonCode() << " , "
                                           << "ZynPrfLanguage()");
    } catch (...) {
        ZYN_TRACE_IN("ZynPrfLanguage", 1, ZynTrace::Error, ZynTrace::Kernel,
                     "Unknown exception occured in ZynPrfLanguage()");
    }
    return 0;
}
