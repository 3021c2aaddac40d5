#include "message.h"

#include <algorithm>
#include <iterator>
#include <set>

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

ZynStream DecodeMessage(std::span<const char> message) {
    ZynStream in(message.size(), ZynStream::Unknown);
    std::ranges::copy(message, in.PreRead(message.size()));
    in.PostRead(message.size());
    if (in.Kind() != ZynStream::Plain)
        throw MessageError("not a stream of the plain kind");
    return in;
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
