// A program that does what its arguments say and tells on standard error what came of it.
// console_test.py sits at its terminal.
#include <signal.h> // NOLINT(modernize-deprecated-headers): more than the language's
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <cstdlib>
#include <functional>
#include <iostream>
#include <map>
#include <string>
#include <string_view>
#include <thread>

#include <zynkern/zynkern.h>

namespace {

// Without memory of the heap: handlers tell too.
void Tell(std::string_view text) {
    for (const std::string_view part : {text, std::string_view("\n")})
        if (write(STDERR_FILENO, part.data(), part.size()) < 0)
            std::abort();
}

bool Echoes() {
    termios terminal = {};
    tcgetattr(STDIN_FILENO, &terminal);
    return (terminal.c_lflag & ECHO) != 0;
}

void Ask() {
    try {
        const ZynString password = ZynConverter::ReadPasswordFromConsole("Password: ");
        Tell(std::string("got ") + password.AsBinary().AsHexString().Data());
    } catch (const ZynIntException& error) {
        Tell(std::string("failed ") + error.AsString().C_str());
    }
}

// Signals come to the first thread, which does its work when another one reads.
void InThread(const std::function<void(std::thread&)>& work) {
    std::thread reader([] {
        sigset_t all;
        sigfillset(&all);
        pthread_sigmask(SIG_BLOCK, &all, nullptr);
        Ask();
    });
    while (Echoes())
        usleep(1000);
    work(reader);
    reader.join();
}

// How a child ends that is forked while another thread reads, and what the terminal is like then.
void Fork(void (*child)()) {
    const pid_t process = fork();
    if (process == 0) {
        child();
        _exit(0);
    }
    int status = 0;
    waitpid(process, &status, 0);
    Tell("child " + std::to_string(status) + (Echoes() ? " with echo" : " without"));
}

// As a thread does that runs another program: the action before it is back when nobody reads.
void Interfere() {
    static void (*before)(int);
    InThread([](std::thread&) {
        before = signal(SIGTERM, SIG_IGN);
        Tell("ignores");
    });
    Tell(signal(SIGTERM, before) == SIG_IGN ? "still ignores" : "no more");
}

const std::map<std::string, std::function<void()>> commands = {
    {"ask", Ask},
    {"say", [] { std::cout << "first "; }},
    {"handle",
     [] { signal(SIGINT, [](int) { Tell(Echoes() ? "handled with echo" : "handled without"); }); }},
    {"ignore",
     [] {
         for (const int number : {SIGINT, SIGTTOU})
             signal(number, SIG_IGN);
     }},
    {"close", [] { close(STDOUT_FILENO); }},
    {"fork",
     [] {
         InThread([](std::thread&) {
             Fork([] { std::exit(0); });
             Fork([] {
                 alarm(1);
                 Ask();
             });
         });
     }},
    {"interfere", Interfere},
    {"raise", [] { raise(SIGTERM); }},
    {"thread", [] { InThread([](std::thread&) {}); }},
    {"cancel", [] { InThread([](std::thread& t) { pthread_cancel(t.native_handle()); }); }},
    {"exit", [] { InThread([](std::thread&) { std::exit(5); }); }},
    {"look", [] { Tell(Echoes() ? "echo" : "no echo"); }},
};

} // namespace

int main(int argc, char* argv[]) {
    std::ios::sync_with_stdio(false);
    std::cout.exceptions(std::ios::badbit);
    for (int i = 1; i < argc; ++i)
        commands.at(argv[i])();
    return 0;
}
