// Strings of ZynStream. They stand in the code page that the header names; a caller puts and gets
// them in its own, and only where the two differ they are converted, straight into the block and
// out of it.
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <string>

#include "zynkconv.h"
#include "zynkprf.h"
#include "zynksdds.h"
#include "zynktrc.h"
#include "zynkxcp.h"

namespace {

// 0 as long as it is not known. Every thread would find the same number.
std::atomic<unsigned short> defaultCcsid{0};

// A process without a configuration has no such setting; one whose store can't be read, or that is
// told to run under a configuration that there is none of, is to hear of it.
ZynString ConfiguredCcsid() {
    ZynString cfg;
    try {
        cfg = ZynProfile::CurrentConfig();
    } catch (const ZynNoDefaultConfigException&) {
        return {};
    }
    ZynProfile profile;
    profile.OpenConfig(cfg, false);
    return profile.Find("DefaultStreamCcsid", false);
}

// 0 if the setting is not given.
unsigned short CcsidOf(const ZynString& setting) {
    return setting.IsNull() ? 0 : static_cast<unsigned short>(setting.AsLong());
}

unsigned short FindDefaultCcsid() {
    unsigned short ccsid = CcsidOf(ZynString(std::getenv("ZYN_DEFAULT_STREAM_CCSID")));
    if (ccsid == 0)
        ccsid = CcsidOf(ConfiguredCcsid());
    return ccsid != 0 ? ccsid : ZynConverter::GetCurrentOSCodePage();
}

// The bytes that a converted text is taken to need for each of its own.
constexpr unsigned long MaxGrowth = 3;

} // namespace

unsigned short DefaultStreamCcsid() {
    unsigned short ccsid = defaultCcsid.load(std::memory_order_relaxed);
    if (ccsid == 0) {
        ccsid = FindDefaultCcsid();
        ZYN_TRACE(99, ZynTrace::General, ZynTrace::Stream,
                  "Default stream ccsid is " << std::to_string(ccsid));
        defaultCcsid.store(ccsid, std::memory_order_relaxed);
    }
    return ccsid;
}

void ZynStream::SetStringCcsid(unsigned short ccsid) {
    DataRep& rep = *_pMem;
    const unsigned short stream = rep._header._streamCcsid;
    const unsigned short own = ZynConverter::GetCurrentOSCodePage();
    const unsigned short caller = ccsid != 0 ? ccsid : own;
    std::unique_ptr<ZynConverter> write;
    std::unique_ptr<ZynConverter> read;
    if (caller != stream && caller != own) {
        write = std::make_unique<ZynConverter>(caller, stream);
        read = std::make_unique<ZynConverter>(stream, caller);
    }
    rep._writeConverter = std::move(write);
    rep._readConverter = std::move(read);
    rep._convCcsid = caller != stream ? stream : 0;
}

// Strings need conversion if the stream's code page is not the process's.
void ZynStream::UseStreamCcsid(unsigned short ccsid) {
    _pMem->_writeConverter.reset();
    _pMem->_readConverter.reset();
    _pMem->_convCcsid = ccsid != ZynConverter::GetCurrentOSCodePage() ? ccsid : 0;
}

void ZynStream::PutOwnConverted(const ZynString& value) {
    if (_pMem->_writeConverter == nullptr)
        _pMem->_writeConverter =
            std::make_unique<ZynConverter>(ZynConverter::GetCurrentOSCodePage(), _pMem->_convCcsid);
    PutConverted(value.C_str(), value.Length(), *_pMem->_writeConverter);
}

void ZynStream::PutString(const char* data, unsigned long length, unsigned short ccsid) {
    const unsigned short stream = _pMem->_header._streamCcsid;
    if (ccsid == stream)
        return PutVarOpaque(data, length);
    PutConverted(data, length, ZynConverter(ccsid, stream));
}

// At the end of the stream the text goes straight to its place, with what a converter writes behind
// it. Ahead of other values this would overwrite what they begin with, and room for the most that
// the text can take would push them out of the block.
void ZynStream::PutConverted(const char* data, unsigned long length,
                             const ZynConverter& converter) {
    const unsigned long most = MaxGrowth * length;
    const unsigned long room = most + WordSize + 3;
    if (_curPos < _pMem->_endPos) {
        RequireRoomInParm(room);
        std::string text(most, '\0');
        const unsigned long count = converter.Convert(data, length, text.data(), most);
        return PutVarOpaque(text.data(), count);
    }
    EnableCorrectWrite(room);
    const unsigned long count = converter.Convert(data, length, At(_curPos) + WordSize, most);
    const std::uint32_t word = zynkxdr::WireWord(count);
    char* const to = Claim(WordSize + count + Padding(count));
    zynkxdr::StoreWord(to, word);
    std::memset(to + WordSize + count, 0, Padding(count));
}

void ZynStream::Get(ZynString& value) {
    unsigned long length = 0;
    const char* const bytes = PeekVarOpaque(length);
    if (_pMem->_convCcsid == 0) [[likely]] {
        value.Assign(bytes, strnlen(bytes, length));
    } else {
        if (_pMem->_readConverter == nullptr)
            _pMem->_readConverter = std::make_unique<ZynConverter>(
                _pMem->_convCcsid, ZynConverter::GetCurrentOSCodePage());
        _pMem->_readConverter->Convert(bytes, length, value);
    }
    SkipVarOpaque(length);
}
