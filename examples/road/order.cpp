#include "order.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <iomanip>
#include <ostream>
#include <sstream>
#include <string>
#include <string_view>

#include "print.h"

namespace {

// A number from outside is not followed before it is known to be a sensible one.
constexpr unsigned long MaxFlags = 32;

int Digits(std::string_view text) {
    int number = 0;
    for (const char c : text)
        number = number * 10 + (c - '0');
    return number;
}

bool IsDate(std::string_view text) {
    constexpr std::string_view Form = "0000-00-00";
    const auto fits = [](char c, char form) {
        return form == '0' ? c >= '0' && c <= '9' : c == form;
    };
    if (!std::ranges::equal(text, Form, fits))
        return false;
    const auto part = [text](std::size_t at) {
        return static_cast<unsigned>(Digits(text.substr(at, 2)));
    };
    return std::chrono::year_month_day(std::chrono::year(Digits(text.substr(0, 4))),
                                       std::chrono::month(part(5)), std::chrono::day(part(8)))
        .ok();
}

void PutProcess(ZynStream& out, const WorkOrder& order) {
    out.StartParmEnc(ProcessParm);
    out.StartParmEnc(ProcessNameParm) << order.process;
    out.EndParmEnc();
    out.StartParmEnc(InstanceNameParm) << order.instance;
    out.EndParmEnc();
    out.StartParmEnc(ProcessHandleParm) << order.processHandle;
    out.EndParmEnc();
    out.StartParmEnc(InstanceHandleParm) << order.instanceHandle;
    out.EndParmEnc();
    out.EndParmEnc();
}

// What a newer client puts behind these is skipped with the end of the group.
void GetProcess(ZynStream& in, unsigned short codePage, WorkOrder& order) {
    GetText(in.StartParmDec(ProcessNameParm), codePage, order.process);
    in.EndParmDec();
    GetText(in.StartParmDec(InstanceNameParm), codePage, order.instance);
    in.EndParmDec();
    in.StartParmDec(ProcessHandleParm) >> order.processHandle;
    in.EndParmDec();
    in.StartParmDec(InstanceHandleParm) >> order.instanceHandle;
    in.EndParmDec();
}

void PutTerms(ZynStream& out, const WorkOrder& order) {
    out.StartParmEnc(TermsParm);
    out.StartParmEnc(PriorityParm) << order.priority;
    out.EndParmEnc();
    PutNullable(out.StartParmEnc(DueDateParm), order.dueDate);
    out.EndParmEnc();
    out.StartParmEnc(AmountParm) << order.amount;
    out.EndParmEnc();
    out.EndParmEnc();
}

void GetTerms(ZynStream& in, WorkOrder& order) {
    in.StartParmDec(PriorityParm) >> order.priority;
    in.EndParmDec();
    GetNullable(in.StartParmDec(DueDateParm), order.dueDate);
    in.EndParmDec();
    in.StartParmDec(AmountParm) >> order.amount;
    in.EndParmDec();
    CheckPriority(order.priority);
    if (!order.dueDate.IsNull())
        CheckDueDate(order.dueDate);
    CheckAmount(order.amount);
}

void PutFlags(ZynStream& out, const WorkOrder& order) {
    out.StartParmEnc(FlagsParm) << static_cast<unsigned long>(order.flags.size());
    for (const ZynString& flag : order.flags)
        out << flag;
    out.EndParmEnc();
}

void GetFlags(ZynStream& in, unsigned short codePage, WorkOrder& order) {
    unsigned long count = 0;
    in >> count;
    CheckFlagCount(count);
    order.flags.resize(count);
    for (ZynString& flag : order.flags)
        GetText(in, codePage, flag);
}

void PutAttachment(ZynStream& out, const WorkOrder& order) {
    out.StartParmEnc(AttachmentParm) << order.attachment.IsNull();
    if (!order.attachment.IsNull())
        out << order.attachmentName << order.attachment;
    out.EndParmEnc();
}

void GetAttachment(ZynStream& in, unsigned short codePage, WorkOrder& order) {
    bool isNull = false;
    in >> isNull;
    if (isNull)
        return;
    GetText(in, codePage, order.attachmentName);
    in >> order.attachment;
}

std::string FlagList(const std::vector<ZynString>& flags) {
    std::string list;
    for (const ZynString& flag : flags)
        list += (list.empty() ? "" : ", ") + Printable(flag);
    return list.empty() ? "none" : list;
}

std::string AttachmentText(const WorkOrder& order) {
    if (order.attachment.IsNull())
        return "none";
    return Printable(order.attachmentName) + ", " + std::to_string(order.attachment.Length()) +
           " bytes";
}

} // namespace

void CheckPriority(long priority) {
    if (priority < 1 || priority > 9)
        throw MessageError("priority " + std::to_string(priority) + " is not from 1 to 9");
}

void CheckDueDate(const ZynString& date) {
    if (!IsDate(date.C_str()))
        throw MessageError("due date \"" + Printable(date) + "\" is not a day as YYYY-MM-DD");
}

void CheckAmount(double amount) {
    if (!std::isfinite(amount))
        throw MessageError("the amount is not a finite number");
}

void CheckFlagCount(unsigned long count) {
    if (count > MaxFlags)
        throw MessageError(std::to_string(count) + " flags are more than " +
                           std::to_string(MaxFlags));
}

ZynBIID InstanceOf(const WorkOrder& order) {
    const ZynBTID process = ZynBTID::FromExternalObjectHandle(order.processHandle);
    const ZynBIID instance = ZynBIID::FromExternalObjectHandle(order.instanceHandle);
    if (instance.FlatTID() != process.FlatTID())
        throw MessageError("the instance is none of this process");
    return instance;
}

ZynStream PackOrder(const WorkOrder& order) {
    ZynStream out = NewMessage(order.attachment.Length() + 1024, RequestStep, order.priority, 0);
    PutProcess(out, order);
    out.StartParmEnc(StarterParm) << order.starter;
    out.EndParmEnc();
    PutTerms(out, order);
    PutFlags(out, order);
    PutAttachment(out, order);
    out.Close();
    return out;
}

WorkOrder UnpackOrder(ZynStream& message, unsigned short codePage) {
    WorkOrder order;
    ReadParms(message,
              {
                  {ProcessParm, [&](ZynStream& in) { GetProcess(in, codePage, order); }},
                  {StarterParm, [&](ZynStream& in) { GetText(in, codePage, order.starter); }},
                  {TermsParm, [&](ZynStream& in) { GetTerms(in, order); }},
                  {FlagsParm, [&](ZynStream& in) { GetFlags(in, codePage, order); }},
                  {AttachmentParm, [&](ZynStream& in) { GetAttachment(in, codePage, order); }},
              });
    return order;
}

std::ostream& operator<<(std::ostream& os, const WorkOrder& order) {
    std::ostringstream amount;
    amount << std::fixed << std::setprecision(2) << order.amount;
    return os << Line("process", Printable(order.process))
              << Line("", Printable(order.processHandle))
              << Line("instance", Printable(order.instance))
              << Line("", Printable(order.instanceHandle))
              << Line("starter", Printable(order.starter))
              << Line("priority", std::to_string(order.priority))
              << Line("due date", Printable(order.dueDate)) << Line("amount", amount.str())
              << Line("flags", FlagList(order.flags)) << Line("attachment", AttachmentText(order));
}
