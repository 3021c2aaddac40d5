// What is left when there is no memory, or when calls of the system fail: nothing leaks, crashes or
// hangs, a value is what it was, and what failed can be done again.
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>

#include <sqlite3.h>
#include <unistd.h>

#include "faults/faults.h"
#include "trace/lines.h"
#include "zynkbin.h"
#include "zynkconv.h"
#include "zynkicda.h"
#include "zynkprf.h"
#include "zynkprf_store.h"
#include "zynksdds.h"
#include "zynksem.h"
#include "zynksemi_file.h"
#include "zynkstr.h"

namespace {

namespace fs = std::filesystem;
using testing::AnyOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::StartsWith;

// A write that is interrupted for ever is none that is waited for.
const std::vector<Fault> noSystem = {{EIO},    {EIO, true}, {ENOSPC},           {ENOSPC, true},
                                     {EMFILE}, {EINTR},     {Fault::ShortWrite}};

const char* const LongText =
    "a \"text\" that is longer than any short string that stands in its own";

TEST(NoMemory, LeavesStringsAsTheyAre) {
    const struct {
        const char* name;
        std::function<void(ZynString&)> act;
    } rows[] = {
        {"construct", [](ZynString& s) { s = ZynString("other", 3); }},
        {"assign a text", [](ZynString& s) { s = "other"; }},
        {"assign a character", [](ZynString& s) { s = 'c'; }},
        {"append a string", [](ZynString& s) { s |= ZynString(s); }},
        {"append a text", [](ZynString& s) { s |= "other"; }},
        {"append a character", [](ZynString& s) { s |= 'c'; }},
        {"join", [](ZynString& s) { s = (s | ZynString(s)) | "other"; }},
        {"reserve", [](ZynString& s) { s.Reserve(s.Length() + 1000); }},
        {"unshare", [](ZynString& s) { s.PostRead(3); }},
        {"part", [](ZynString& s) { s = s.SubString(3, 10); }},
        {"truncate", [](ZynString& s) { s = s.Truncate(7); }},
        {"substitute", [](ZynString& s) { s.Substitute("t", LongText); }},
        {"substitute bytes", [](ZynString& s) { s.SubstituteByte("t", LongText); }},
        {"upper case", [](ZynString& s) { s.ToUpperCase(); }},
        {"lower case", [](ZynString& s) { s = s.AsUpperCase().AsLowerCase(); }},
        {"strip", [](ZynString& s) { s.StripChar("a "); }},
        {"quote", [](ZynString& s) { s.Quote('"', '\\'); }},
        {"unquote",
         [](ZynString& s) {
             s = ZynString(R"("a \" long text that is quoted")").Unquote('"', '\\');
         }},
        {"list", [](ZynString& s) { s = ZynString::MakeList(s, s, ','); }},
        {"match", [](ZynString& s) { s = s.MatchesPattern("*t?at*", '?', '*') ? "yes" : "no"; }},
        {"position", [](ZynString& s) { s = ZynString::FromUlong(s.LastPosition("t", 1)); }},
        {"number",
         [](ZynString& s) { s = ZynString::FromDouble(-1.5, 3) | ZynString::FromLong(7, 30); }},
        {"base 64", [](ZynString& s) { s = ZynString::Base64Encode(s.AsBinary()); }},
    };
    for (const auto& row : rows)
        FailEach(
            noMemory, row.name,
            [] {
                const ZynString text(LongText);
                return std::pair(text, text);
            },
            [&row](auto& texts) { row.act(texts.first); },
            [](const auto& texts) { return Bytes(texts.first) + "|" + Bytes(texts.second); });
}

TEST(NoMemory, LeavesBinariesAsTheyAre) {
    const struct {
        const char* name;
        std::function<void(ZynBinary&)> act;
    } rows[] = {
        {"append", [](ZynBinary& b) { b |= ZynBinary(b); }},
        {"join", [](ZynBinary& b) { b = (b | ZynBinary(b)) | b; }},
        {"mark", [](ZynBinary& b) { b.Mark('x'); }},
        {"unmark", [](ZynBinary& b) { b.Unmark('f'); }},
        {"change", [](ZynBinary& b) { b[3] = 'x'; }},
        {"shorten", [](ZynBinary& b) { b.PostRead(2); }},
        {"part", [](ZynBinary& b) { b = b.SubBinary(2, 3); }},
        {"hexadecimal", [](ZynBinary& b) { b = ZynBinary::FromHexString(b.AsHexString().Data()); }},
        {"digest", [](ZynBinary& b) { b = b.ToMD5(); }},
        {"base 64", [](ZynBinary& b) { b = ZynString::Base64Encode(b).Base64Decode(); }},
    };
    for (const auto& row : rows)
        FailEach(
            noMemory, row.name,
            [] {
                const ZynBinary bytes("f some bytes f", 14);
                return std::pair(bytes, bytes);
            },
            [&row](auto& values) { row.act(values.first); },
            [](const auto& values) { return Bytes(values.first) + "|" + Bytes(values.second); });
}

/// What callers see of a stream: its bytes and its cursor, but not how large the block is.
std::string Shown(const ZynStream& stream) {
    std::ostringstream os;
    stream.StreamKeywordDelimited(os, 0);
    std::string text = os.str();
    text = text.substr(text.find("_pMem->_header._kind"));
    text.replace(text.find("(char*)"), text.find(" hex ") - text.find("(char*)"), "");
    text = std::to_string(std::hash<std::string>()(text)) + " length " +
           std::to_string(stream.Length()) + " at " + std::to_string(stream.CurrentPosition()) +
           (stream.Closed() ? " closed" : "");
    if (stream.IsIndexed()) {
        text += " unused " + std::to_string(stream.UnusedBytes()) + " ids";
        for (unsigned long id = 1; id < 20; ++id)
            if (stream.IsAnyParmSetWithinSubrange(id, id))
                text += " " + std::to_string(id);
    }
    return text;
}

void PutParm(ZynStream& stream, unsigned long id, const std::string& text) {
    stream.StartParmEnc(id);
    stream << ZynString(text.c_str());
    stream.EndParmEnc();
}

/// With the parameters 1, 2 and 3, 1 of which is erased.
ZynStream Filled(unsigned short ccsid = 1252) {
    ZynStream stream(8, ZynStream::Plain, ccsid);
    stream.CreateIndex();
    for (const unsigned long id : {1UL, 2UL, 3UL})
        PutParm(stream, id, "text " + std::to_string(id));
    stream.EraseParm(1);
    return stream;
}

/// The same, read from the start and without an index.
ZynStream Read() {
    ZynStream stream = Filled();
    stream.DeleteIndex();
    stream.PositionToStart();
    return stream;
}

/// With open parameters up to a border of the stack's memory.
ZynStream Nested() {
    ZynStream stream(8, ZynStream::Plain, 1252);
    for (unsigned long depth = 1; depth <= 16; ++depth)
        stream.StartParmEnc(depth);
    return stream;
}

/// With a block that is full, too.
ZynStream Full() {
    ZynStream stream = Nested();
    stream.PutFixedOpaque(std::string(1024, 'x').data(), 1024 - stream.Length());
    return stream;
}

/// As another process gets it; the first parameter is prefetched.
ZynStream Received(ZynStream sent) {
    sent.Close();
    ZynStream stream(8, ZynStream::Unknown);
    std::memcpy(stream.PreRead(sent.Length()), sent.PreWrite(), sent.Length());
    stream.PostRead(sent.Length());
    unsigned long id = 0;
    stream.PrefetchNextParm(id);
    return stream;
}

TEST(NoMemory, LeavesStreamsAsTheyAre) {
    static const std::string large(5000, 'x');
    using Make = ZynStream (*)();
    const Make filled = [] { return Filled(); };
    const struct {
        const char* name;
        Make make;
        std::function<void(ZynStream&)> act;
    } rows[] = {
        {"fixed opaque", filled, [](ZynStream& s) { s.PutFixedOpaque(large.data(), 5000); }},
        {"opaque", filled, [](ZynStream& s) { s.PutVarOpaque(large.data(), large.size()); }},
        {"string", filled, [](ZynStream& s) { s << ZynString(large.c_str()); }},
        {"converted", [] { return Filled(850); },
         [](ZynStream& s) { s << ZynString(large.c_str()); }},
        {"stream", filled,
         [](ZynStream& s) {
             ZynStream other = Filled();
             other.PutVarOpaque(large.data(), large.size());
             other.Close();
             s.Put(other);
         }},
        {"parameter", filled, [](ZynStream& s) { s.StartParmEnc(7); }},
        {"nested", Nested, [](ZynStream& s) { s.StartParmEnc(7); }},
        {"nested at the end", Full, [](ZynStream& s) { s.StartParmEnc(7); }},
        {"open", [] { return Received(Filled()); }, [](ZynStream& s) { s.StartParmDec(0); }},
        {"read", [] { return ZynStream(Received(Filled(850)).StartParmDec(0)); },
         [](ZynStream& s) {
             ZynString text;
             s >> text;
         }},
        {"index", Read,
         [](ZynStream& s) {
             try {
                 s.CreateIndex();
             } catch (...) {
                 s.PositionToStart(); // it is left where the building has come to
                 throw;
             }
         }},
        {"rename",
         [] {
             ZynStream s = Filled();
             s.PrefetchParm(2);
             s.StartParmDec(2);
             return s;
         },
         [](ZynStream& s) { s.ChangeParmId(9); }},
        {"copy a text", filled,
         [](ZynStream& s) {
             ZynStream source = Filled(850);
             s.PutById(9, 2, source, true);
         }},
        {"copy a parameter", filled,
         [](ZynStream& s) {
             ZynStream source = Filled();
             s.PutById(9, 2, source, false);
         }},
        {"compact", filled, [](ZynStream& s) { s.Compact(true); }},
        {"compact for good", filled, [](ZynStream& s) { s.Compact(false); }},
        {"substream", filled,
         [](ZynStream& s) {
             ZynStream sub(8, ZynStream::Plain, 1252);
             s.StartSubstream(ZynStream::Plain, sub);
             sub << 7L;
             sub.Close();
             s.EndSubstream(sub);
         }},
        {"code page", filled, [](ZynStream& s) { s.SetStringCcsid(437); }},
        {"message", filled,
         [](ZynStream& s) { s = ZynStream(3000, ZynStream::InternalRuntimeMessage, 850); }},
        {"copy", Nested, [](ZynStream& s) { s = ZynStream(s); }},
    };
    for (const auto& [name, make, act] : rows)
        FailEach(noMemory, name, make, act, Shown, AnyOf("bad_alloc", HasSubstr("ptr != 0, ")));
}

/// Stays for good, as the converters in it do: what a check for leaks finds is in none.
ZynIconvDescriptorArray* NewArray() {
    static auto& arrays = *new std::vector<std::unique_ptr<ZynIconvDescriptorArray>>;
    return arrays.emplace_back(new ZynIconvDescriptorArray).get();
}

TEST(NoMemory, LeavesConvertersAsTheyAre) {
    const TraceLines lines(1);
    const auto failures =
        AnyOf("bad_alloc", StartsWith("InvalidCodePage: "), HasSubstr("_pImpl != 0"),
              HasSubstr("ServiceName=ucnv_openCCSID: "), HasSubstr("ServiceName=CreateMutex"));
    FailEach(
        noMemory, "open", NewArray,
        [](ZynIconvDescriptorArray* array) {
            for (const int ccsid : {37, 273, 437, 500, 819, 852, 912, 1252, 1386})
                array->IconvDescriptorIndex(850, static_cast<unsigned short>(ccsid));
        },
        [](ZynIconvDescriptorArray* array) {
            // Those that are open stay so; all of them can be had.
            return std::to_string(array->IconvDescriptorIndex(850, 37));
        },
        failures);
    for (const bool isLong : {false, true})
        FailEach(
            noMemory, "convert", [] { return ZynString("before"); },
            [isLong](ZynString& text) {
                const ZynString source(isLong ? std::string(5000, '\x84').c_str() : "\x84");
                ZynConverter(850, 1208).Convert(source, text);
            },
            [](const ZynString& text) { return Bytes(text); }, failures);
}

/// Lines of a file of their own, as long as it lives.
class TraceFile {
  public:
    /// Writes two more lines, with the settings read anew; how the second stands in the file. The
    /// first may follow a part of a line.
    std::string Show() {
        ZynTrace::ReInit();
        ZynTrace::SetFilter(9, 0xFFFF, 0xFFFFFFFF);
        ZYN_TRACE(1, ZynTrace::General, ZynTrace::Kernel, "near the end");
        ZYN_TRACE(1, ZynTrace::General, ZynTrace::Kernel, "the end");
        const auto taken = _lines.Take();
        return taken.empty() ? "" : taken.back();
    }

  private:
    TraceLines _lines{9};
};

struct Item {};
std::ostream& operator<<(std::ostream& os, Item) {
    return os << std::string(2000, 'x') << ZynString(std::string(2000, 'y').c_str());
}

// A line may be lost or cut, but its failure never leaves its place, and later lines are whole.
void TraceGoesOn(const std::vector<Fault>& faults) {
    const std::pair<const char*, std::function<void()>> rows[] = {
        {"line", [] { ZYN_TRACE(1, ZynTrace::General, ZynTrace::Kernel, Item()); }},
        {"line with a value that is made for it",
         [] {
             ZYN_TRACE(1, ZynTrace::General, ZynTrace::Kernel,
                       (ZynString(LongText) | std::string(2000, 'x').c_str()));
         }},
        {"flow", [] { ZYN_FLOW("Test::Flow", 9, ZynTrace::Kernel); }},
        {"failure",
         [] {
             static const ZynIntExcInvalidCase failure(ZYN_ORIGIN("f"), 7);
             zynkTraceThrow("THROW_INT, ", failure);
         }},
        {"settings",
         [] {
             ZynTrace::ReInit();
             ZynTrace::SetFilter(9, 0xFFFF, 0xFFFFFFFF);
         }},
        {"threads", ZynTrace::SetMultiThreaded},
        {"rotation",
         [] {
             const auto set = [](const char* value) {
                 for (const char* const name :
                      {"ZYN_SPLIT_TRACES", "ZYN_FLIP_FLOP_TRACES", "ZYN_TRACE_FILE_SIZE"})
                     setenv(name, value, 1);
                 ZynTrace::ReInit();
                 ZynTrace::SetFilter(9, 0xFFFF, 0xFFFFFFFF);
             };
             set("0");
             for (int i = 0; i < 3; ++i)
                 ZYN_TRACE(1, ZynTrace::General, ZynTrace::Kernel, "rotated");
             set("");
         }},
        {"buffers",
         [] {
             ZynTrace::SetXt(true, nullptr, nullptr);
             ZYN_TRACE(1, ZynTrace::General, ZynTrace::Kernel, Item());
             ZynTrace::Flush();
             ZynTrace::SetXt(false, nullptr, nullptr);
         }},
    };
    for (const auto& row : rows)
        FailEach(
            faults, row.first, [] { return std::make_unique<TraceFile>(); },
            [&row](const auto&) { row.second(); }, [](const auto& file) { return file->Show(); },
            testing::IsEmpty());
    for (const auto& file : fs::directory_iterator(fs::temp_directory_path()))
        if (file.path().filename().string().starts_with("lines" + std::to_string(getpid())))
            fs::remove(file);
}

TEST(NoMemory, LeavesTheTraceAsItIs) {
    TraceGoesOn(noMemory);
}

TEST(NoSystem, LeavesTheTraceAsItIs) {
    TraceGoesOn(noSystem);
}

/// All keys and values of a store, from the root.
std::string Content(HKEY key = zynkreg::LocalMachine) {
    const zynkreg::Reading extent(key);
    std::string content;
    ZynString name;
    for (unsigned long i = 0; zynkreg::RegEnumValue(key, i, name) == zynkreg::Success; ++i) {
        char value[100];
        unsigned long length = sizeof value;
        unsigned long type = 0;
        EXPECT_EQ(zynkreg::RegQueryValueEx(key, name, type, value, length), zynkreg::Success);
        content += Bytes(name) + "=" + std::string(value, length) + " ";
    }
    for (unsigned long i = 0; zynkreg::RegEnumKeyEx(key, i, name) == zynkreg::Success; ++i) {
        HKEY child = 0;
        EXPECT_EQ(zynkreg::RegOpenKeyEx(key, name, zynkreg::Read, child), zynkreg::Success);
        content += Bytes(name) + "(" + Content(child) + ")";
        zynkreg::RegCloseKey(child);
    }
    return content;
}

/// Made anew: the configuration CFG with the value "Name", in a file that this process has not
/// opened yet, or no store. It holds what was read.
struct Stored {
    Stored(const fs::path& folder, bool exists) {
        const fs::path kept = folder / "kept";
        const fs::path file = folder / "m" / "machine.db";
        if (!fs::exists(kept)) {
            setenv("ZYN_STORE_MACHINE", file.c_str(), 1);
            ZynProfile profile;
            profile.OpenConfig("CFG", true);
            profile.Insert("Name", "before", false);
            fs::copy(file, kept);
        }
        fs::remove_all(folder / "m");
        if (exists) {
            fs::create_directory(folder / "m");
            fs::copy(kept, file);
        }
    }

    /// What other processes see as well.
    std::string Show() const {
        sqlite3* base = nullptr;
        std::string result;
        const auto keep = [](void* to, int, char** values, char**) {
            *static_cast<std::string*>(to) = values[0];
            return 0;
        };
        if (const char* const file = std::getenv("ZYN_STORE_MACHINE"); fs::exists(file)) {
            sqlite3_open(file, &base);
            sqlite3_exec(base, "PRAGMA integrity_check", keep, &result, nullptr);
            sqlite3_close(base);
            EXPECT_EQ(result, "ok");
        }
        return Content() + read;
    }

    std::string read;
};

// A change is there if it was answered as done, and only then; and what is answered to a reader is
// so, but that a value that can't be read is answered as none.
void StoreStays(const std::vector<Fault>& faults, const std::string& codes) {
    char folder[] = "/dev/shm/zynkfaults-XXXXXX";
    ASSERT_NE(mkdtemp(folder), nullptr);
    const auto find = [](const ZynProfile& profile, Stored& stored, const char* name) {
        const ZynString found = profile.Find(name, false);
        if (found.IsNull())
            throw std::bad_alloc();
        stored.read = Bytes(found);
    };
    const std::pair<const char*, std::function<void(Stored&, ZynProfile&)>> rows[] = {
        {"write",
         [](Stored&, ZynProfile& profile) {
             profile.OpenConfig("CFG", true);
             profile.Insert("Name", "after", false);
         }},
        {"make a key", [](Stored&, ZynProfile& profile) { profile.OpenConfig("NEW", true); }},
        {"make the store",
         [](Stored&, ZynProfile&) {
             HKEY key = 0;
             if (const long code =
                     zynkreg::RegCreateKeyEx(zynkreg::LocalMachine, "new", zynkreg::ReadWrite, key);
                 code != zynkreg::Success)
                 throw ZynOSException(ZYN_ORIGIN("f"), "RegCreateKeyEx", code, 0);
             zynkreg::RegCloseKey(key);
         }},
        {"erase keys", [](Stored&, ZynProfile&) { ZynProfile::EraseConfig("CFG"); }},
        {"read",
         [&](Stored& stored, ZynProfile& profile) {
             profile.OpenConfig("CFG", false);
             find(profile, stored, "Name");
         }},
        {"list",
         [](Stored& stored, ZynProfile&) {
             const ZynString found = ZynProfile::Configs();
             if (found.IsNull())
                 throw std::bad_alloc();
             stored.read = Bytes(found);
         }},
    };
    for (const auto& row : rows)
        FailEach(
            faults, row.first,
            [&, exists = row.first != std::string("make the store")] {
                return std::make_unique<Stored>(folder, exists);
            },
            [&row](const auto& stored) {
                ZynProfile profile;
                try {
                    row.second(*stored, profile);
                } catch (const ZynOSException& e) {
                    if (e.ReturnCode() != zynkreg::StoreFailed + SQLITE_IOERR_DIR_FSYNC)
                        throw; // here it is done, but the system might still forget it
                }
            },
            [](const auto& stored) { return stored->Show(); },
            AnyOf("bad_alloc", ContainsRegex("ReturnCode=(" + codes + "),")));
    fs::remove_all(folder);
}

TEST(NoMemory, LeavesTheStoreAsItIs) {
    StoreStays(noMemory, "10007|20012");
}

TEST(NoSystem, LeavesTheStoreAsItIs) {
    // Without its descriptor for writing the file is one that may not be written.
    StoreStays(noSystem, "5|1[0-9]{4}|200[0-9]{2}");
}

/// A named lock that is had once, and is gone.
void LocksStay(const std::vector<Fault>& faults) {
    const ZynString name = ("faults " + std::to_string(getpid())).c_str();
    FailEach(
        faults, "lock", [] { return 0; },
        [&](int) {
            ZynMutexSemaphore lock(name);
            lock.Request();
            lock.Release();
        },
        [&](int) {
            ZynMutexSemaphore(name).Request(); // a file that has stayed serves the next one
            return fs::exists(zynksem::PathOfLock(name).data()) ? "there" : "gone";
        },
        AnyOf("bad_alloc", HasSubstr("_pImpl != 0, "), ContainsRegex("=(Create|Open)Mutex,")));
}

TEST(NoMemory, LeavesNamedLocksAsTheyAre) {
    LocksStay(noMemory);
}

TEST(NoSystem, LeavesNamedLocksAsTheyAre) {
    LocksStay(noSystem);
}

} // namespace
