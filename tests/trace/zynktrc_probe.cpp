// A program that does to the trace what its arguments say, one command behind the other. The
// environment sets the trace; trace_test.py looks at what it leaves.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <functional>
#include <iostream>
#include <map>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include <zynkern/zynkern.h>

namespace {

std::string areaFile;
unsigned long switches = 0;

int KeepArea(ZynBinary& area) {
    std::ofstream(areaFile, std::ios::app | std::ios::binary)
        .write(area.Data(), static_cast<std::streamsize>(area.Length()));
    return 0;
}

class Words {
  public:
    explicit Words(std::span<char* const> words) : _words(words) {}

    bool Empty() const { return _words.empty(); }
    std::string Text() {
        if (_words.empty())
            throw std::runtime_error("a word is missing");
        std::string word = _words.front();
        _words = _words.subspan(1);
        return word;
    }
    unsigned long Number() { return std::stoul(Text(), nullptr, 0); }

  private:
    std::span<char* const> _words;
};

struct Counted {
    unsigned long& evaluated;
};
std::ostream& operator<<(std::ostream& os, const Counted& counted) {
    return os << "evaluated " << ++counted.evaluated;
}

void Flow(bool throws) {
    ZYN_FLOW("Probe::Flow", ZynTrace::FlowLevel, ZynTrace::Kernel);
    if (throws)
        ZYN_REQUIRE(!throws);
}

// Lines of several threads, each with the number of its thread and its own.
void Lines(unsigned long threads, unsigned long lines) {
    std::vector<std::thread> running;
    for (unsigned long t = 0; t < threads; ++t)
        running.emplace_back([=] {
            for (unsigned long i = 0; i < lines; ++i)
                ZYN_TRACE(1, ZynTrace::General, ZynTrace::Kernel, "thread " << t << " line " << i);
        });
    for (std::thread& thread : running)
        thread.join();
}

// What the child of a fork does; its status is in the output.
void InChild(const std::function<void()>& work) {
    std::cout.flush();
    const pid_t child = fork();
    if (child == 0) {
        work();
        _exit(7);
    }
    int status = 0;
    waitpid(child, &status, 0);
    std::cout << "child " << (WIFEXITED(status) ? WEXITSTATUS(status) : -1) << '\n';
}

const std::map<std::string, std::function<void(Words&)>> commands = {
    {"line",
     [](Words& w) {
         const unsigned long level = w.Number();
         const auto category = static_cast<unsigned int>(w.Number());
         const auto component = static_cast<unsigned int>(w.Number());
         unsigned long evaluated = 0;
         ZYN_TRACE(level, category, component, Counted{evaluated} << ' ' << 1234567 << 0.5);
         std::cout << "evaluated " << evaluated << '\n';
     }},
    {"direct",
     [](Words& w) {
         const std::string file = w.Text();
         const unsigned long line = w.Number();
         const std::string function = w.Text();
         const unsigned long level = w.Number();
         ZynTrace::Trace(file.c_str(), line, function.c_str(), level, 2, 1, w.Text());
     }},
    {"ctx", [](Words& w) { ZynTrace::TraceCtx("f", 1, "g", w.Number(), 2, 1, -1, "context"); }},
    {"error", [](Words&) { ZYN_TRACE_ERROR(ZynTrace::Error, ZynTrace::Kernel, "an error"); }},
    {"flow", [](Words&) { Flow(false); }},
    {"fail",
     [](Words&) {
         try {
             Flow(true);
         } catch (const ZynAssertionException& error) {
             std::cout << error.AsString() << '\n';
         }
     }},
    {"filter",
     [](Words& w) {
         const unsigned long level = w.Number();
         const unsigned long categories = w.Number();
         ZynTrace::SetFilter(level, categories, w.Number());
     }},
    {"stop", [](Words&) { ZynTrace::Stop(); }},
    {"start", [](Words&) { ZynTrace::Start(); }},
    {"mkdir", [](Words& w) { mkdir(w.Text().c_str(), 0700); }},
    {"limit",
     [](Words& w) {
         const rlim_t size = w.Number();
         const rlimit limit = {size, size};
         setrlimit(RLIMIT_FSIZE, &limit);
     }},
    {"exitchild", [](Words&) { InChild([] { std::exit(7); }); }},
    {"failchild",
     [](Words&) {
         InChild([] {
             try {
                 Flow(true);
             } catch (const ZynAssertionException& error) {
                 std::cout << error.Condition() << std::endl;
             }
         });
     }},
    {"cancel",
     [](Words&) {
         std::thread writer([] {
             for (;; pthread_testcancel())
                 ZYN_TRACE(1, ZynTrace::General, ZynTrace::Kernel, "until cancelled");
         });
         const pthread_t thread = writer.native_handle();
         writer.detach();
         usleep(20000);
         pthread_cancel(thread);
         usleep(20000);
     }},
    {"setenv",
     [](Words& w) {
         const std::string name = w.Text();
         setenv(name.c_str(), w.Text().c_str(), 1);
     }},
    {"reinit", [](Words&) { ZynTrace::ReInit(); }},
    {"facts",
     [](Words&) {
         std::cout << ZynTrace::On() << ' ' << ZynTrace::Level() << ' ' << ZynTrace::Categories()
                   << ' ' << ZynTrace::Components() << ' ' << ZynTrace::Xt() << ' '
                   << ZynTrace::AlreadyDumped() << ' ' << ZynTrace::GetTraceFile() << ' '
                   << ZynTrace::ProcessNameAsString() << ' ' << _trcfile << '\n';
     }},
    {"xt",
     [](Words& w) {
         ZynTraceBufReg reg = {};
         ZynTrace::SetXt(
             w.Number() != 0, [] { ++switches; }, &reg);
         std::cout << "buffers " << reg.size << (reg.buffer0 != nullptr) << (reg.buffer2 != nullptr)
                   << '\n';
     }},
    {"externalize",
     [](Words& w) {
         areaFile = w.Text();
         ZynTrace::SetExternalization(areaFile != "off", KeepArea);
     }},
    {"flush",
     [](Words&) {
         ZynTrace::Flush();
         std::cout << "switches " << switches << '\n';
     }},
    {"multi", [](Words&) { ZynTrace::SetMultiThreaded(); }},
    {"lines",
     [](Words& w) {
         const unsigned long threads = w.Number();
         Lines(threads, w.Number());
     }},
    // Changes all that may be changed while other threads write.
    {"churn",
     [](Words& w) {
         const unsigned long rounds = w.Number();
         std::thread writer([] { Lines(2, 2000); });
         for (unsigned long i = 0; i < rounds; ++i) {
             ZynTrace::SetFilter(i % 2, 0x43, 1);
             i % 3 == 0 ? ZynTrace::Stop() : ZynTrace::Start();
             ZynTrace::ReInit();
             ZynTrace::SetMultiThreaded();
         }
         writer.join();
     }},
    // Two threads switch the buffers on and off and flush them.
    {"turns",
     [](Words& w) {
         const auto turn = [rounds = w.Number()] {
             for (unsigned long i = 0; i < rounds; ++i) {
                 ZynTrace::SetXt(i % 2 == 0, nullptr, nullptr);
                 ZynTrace::Flush();
             }
         };
         const std::jthread other(turn);
         turn();
     }},
    {"fork", [](Words&) { InChild([] { Flow(false); }); }},
    {"closeall",
     [](Words&) {
         for (int i = 3; i < 1024; ++i)
             close(i);
     }},
    {"release",
     [](Words&) {
         ZynMutexSemaphore lock;
         try {
             lock.Release();
         } catch (const ZynOSException& error) {
             std::cout << error.AsString() << '\n';
         }
     }},
    {"takedescriptors",
     [](Words& w) {
         std::ofstream(w.Text()) << "the host's own";
         commands.at("closeall")(w);
         while (open("own", O_RDWR) < 9)
             ;
     }},
    {"closeinput", [](Words&) { close(0); }},
    {"descriptors",
     [](Words&) {
         int open = 0;
         for (int i = 0; i < 1024; ++i)
             open += fcntl(i, F_GETFD) >= 0 ? 1 : 0;
         std::cout << "descriptors " << open << '\n';
     }},
};

} // namespace

int main(int argc, char* argv[]) {
    try {
        Words words(std::span(argv, static_cast<std::size_t>(argc)).subspan(1));
        while (!words.Empty())
            commands.at(words.Text())(words);
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "probe: " << error.what() << '\n';
        return 1;
    }
}
