#include "answer.h"

#include <ostream>
#include <string>

#include "print.h"

namespace {

constexpr unsigned long DigestSize = 16;

} // namespace

ZynStream PackAnswer(const Answer& answer, unsigned short codePage) {
    ZynStream out = NewMessage(256, AnswerStep, 0, codePage);
    out.StartParmEnc(AcceptedParm) << answer.accepted;
    out.EndParmEnc();
    out.StartParmEnc(WorkItemParm) << answer.workItem;
    out.EndParmEnc();
    out.StartParmEnc(AnswerTextParm) << answer.text;
    out.EndParmEnc();
    PutNullable(out.StartParmEnc(DigestParm), answer.digest);
    out.EndParmEnc();
    out.Close();
    return out;
}

Answer UnpackAnswer(ZynStream& message) {
    Answer answer;
    ReadParms(message, {
                           {AcceptedParm, [&](ZynStream& in) { in >> answer.accepted; }},
                           {WorkItemParm, [&](ZynStream& in) { in >> answer.workItem; }},
                           {AnswerTextParm, [&](ZynStream& in) { in >> answer.text; }},
                           {DigestParm, [&](ZynStream& in) { GetNullable(in, answer.digest); }},
                       });
    if (!answer.digest.IsNull() && answer.digest.Length() != DigestSize)
        throw MessageError("a digest of " + std::to_string(answer.digest.Length()) + " bytes");
    return answer;
}

std::ostream& operator<<(std::ostream& os, const Answer& answer) {
    const std::string item = answer.accepted ? std::to_string(answer.workItem) : "none";
    const std::string digest = answer.digest.IsNull() ? "none" : answer.digest.AsHexString().Data();
    return os << Line("accepted", answer.accepted ? "yes" : "no") << Line("work item", item)
              << Line("text", Printable(answer.text)) << Line("digest", digest);
}
