#include "message.h"

#include <algorithm>
#include <iterator>
#include <set>
#include <vector>

#include "print.h"

namespace {

struct ParmInfo {
    ParmId id;
    const char* name;
    bool isGroup = false;
};

constexpr ParmInfo Parms[] = {
    {ProcessParm, "process", true},
    {ProcessNameParm, "name"},
    {InstanceNameParm, "instance"},
    {ProcessHandleParm, "handle"},
    {InstanceHandleParm, "instance handle"},
    {StarterParm, "starter"},
    {TermsParm, "terms", true},
    {PriorityParm, "priority"},
    {DueDateParm, "due date"},
    {AmountParm, "amount"},
    {FlagsParm, "flags"},
    {AttachmentParm, "attachment"},
    {AcceptedParm, "accepted"},
    {WorkItemParm, "work item"},
    {AnswerTextParm, "text"},
    {DigestParm, "digest"},
};

const ParmInfo* FindParm(unsigned long id) {
    const auto* const found = std::ranges::find(Parms, id, &ParmInfo::id);
    return found != std::end(Parms) ? found : nullptr;
}

MessageError ErrorOf(ParmId id, const char* what) {
    return MessageError{"parameter " + std::to_string(id) + " (" + ParmName(id) + ") " + what};
}

} // namespace

const char* ParmName(unsigned long id) {
    const ParmInfo* const parm = FindParm(id);
    return parm != nullptr ? parm->name : "unknown";
}

bool IsGroup(unsigned long id) {
    const ParmInfo* const parm = FindParm(id);
    return parm != nullptr && parm->isGroup;
}

ZynStream NewMessage(unsigned long size, const char* step, long priority, unsigned short codePage) {
    ZynStream out(size, ZynStream::InternalRuntimeMessage, codePage);
    out.SetHXWIHServiceName(
        ZynGZT::BuildWIHServiceNameString("ROAD", false, priority, "PROCESS", "START"));
    out.SetHXWIHServiceStep(step);
    return out;
}

ZynStream DecodeMessage(std::span<const char> message) {
    ZynStream in(message.size(), ZynStream::Unknown);
    std::ranges::copy(message, in.PreRead(message.size()));
    in.PostRead(message.size());
    if (in.Kind() != ZynStream::InternalRuntimeMessage)
        throw MessageError("a stream without a work information header");
    return in;
}

unsigned short CodePageOf(std::span<const char> message) {
    try {
        return ZynStream::StreamHeader::Parse(message.data(), message.size())._streamCcsid;
    } catch (const ZynStream::Exception&) {
        return 0;
    }
}

void GetText(ZynStream& in, unsigned short codePage, ZynString& text) {
    ZynBinary bytes;
    ZynStream(in).Get(bytes); // a second cursor on the same place
    in >> text;
    constexpr unsigned long MaxCharacter = 4;
    std::vector<char> back(MaxCharacter * (text.Length() + 1));
    const unsigned long size = ZynConverter(0, codePage).Convert(text, back.data(), back.size());
    const std::span before(bytes.Data(), bytes.Length());
    if (!std::ranges::equal(std::span(back).first(size), before))
        throw MessageError("the text \"" + Printable(text) + "\" is not one in code page " +
                           std::to_string(ZynConverter::GetCurrentOSCodePage()));
}

void ReadParms(ZynStream& in, const ParmReaders& readers) {
    std::set<ParmId> seen;
    while (!in.Eof()) {
        unsigned long id = 0;
        in.PrefetchNextParm(id);
        const auto reader = readers.find(static_cast<ParmId>(id));
        if (reader == readers.end()) {
            in.SkipNextParm();
            continue;
        }
        if (!seen.insert(reader->first).second)
            throw ErrorOf(reader->first, "comes twice");
        in.StartParmDec(id);
        reader->second(in);
        in.EndParmDec();
    }
    for (const auto& [id, reader] : readers)
        if (!seen.contains(id))
            throw ErrorOf(id, "is missing");
}
