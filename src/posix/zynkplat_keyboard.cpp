// The keyboard of a POSIX host.
//
// A signal that ends or stops the process must find the terminal as the host has left it. While the
// terminal is taken, handlers of this file only note a signal and wake the reader. He gives the
// terminal and the signals back to the host, lets the signal have its effect there, and takes both
// again if he gets to it. The handlers run in any thread, those that come late included: none of
// what they note is lost.
#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <termios.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <mutex>
#include <new>
#include <utility>

#include "zynkplat.h"
#include "zynkxcp.h"

namespace zynkplat {

namespace {

constexpr int Backspace = 8;
constexpr int Delete = 127;

// The first come to a host's handler by way of this file. A handler for one of the others is left
// in its place: profilers and collectors of memory need it at once, in the thread that it came to.
constexpr int Signals[] = {SIGHUP,  SIGINT,  SIGQUIT, SIGPIPE, SIGALRM,   SIGTERM, SIGTSTP,
                           SIGCONT, SIGUSR1, SIGUSR2, SIGPROF, SIGVTALRM, SIGXCPU, SIGXFSZ,
                           SIGIO,   SIGPWR,  SIGTTIN, SIGTTOU, SIGSTKFLT};
constexpr std::size_t FirstOfOthers = 8;

constexpr unsigned int Bit(int signal) {
    return 1U << static_cast<unsigned int>(signal);
}

constexpr unsigned int Stops = Bit(SIGTSTP) | Bit(SIGTTIN) | Bit(SIGTTOU);

constexpr unsigned int NobodyReads = 1; // the bit of no signal

// What came since the terminal was taken.
constinit std::atomic<unsigned int> noted{NobodyReads};
constinit std::atomic<int> handlersAtWork{0};

// What is taken, of which there is one in a process.
struct Taken {
    std::mutex mutex; // locked as long
    std::atomic<pid_t> process;
    int wake[2] = {-1, -1}; // a pipe, to which handlers write
    struct sigaction before[std::size(Signals)];
    std::atomic<bool> hasTerminal;
    termios terminal; // as it was
};
constinit Taken taken = {};

bool IsIgnored(const struct sigaction& action) {
    return (action.sa_flags & SA_SIGINFO) == 0 && action.sa_handler == SIG_IGN;
}

bool IsDefault(const struct sigaction& action) {
    return (action.sa_flags & SA_SIGINFO) == 0 && action.sa_handler == SIG_DFL;
}

void Note(int signal);

bool IsNote(const struct sigaction& action) {
    return (action.sa_flags & SA_SIGINFO) == 0 && action.sa_handler == Note;
}

// But for actions that were set meanwhile, as other threads do to run a program.
void GiveSignalsBack() {
    for (std::size_t i = 0; i < std::size(Signals); ++i) {
        struct sigaction now = {};
        sigaction(Signals[i], nullptr, &now);
        if (IsNote(now))
            sigaction(Signals[i], &taken.before[i], nullptr);
    }
}

// A stop and a continuation that wait undo each other, as they do in the system. A signal that
// nobody takes note of any more is the host's: it comes again when this handler returns. So is one
// that comes to a child, before it knows that it is one.
void Note(int signal) {
    const int error = errno;
    const Uncancelled extent;
    ++handlersAtWork;
    unsigned int before = NobodyReads;
    if (getpid() == taken.process) {
        if (signal == SIGCONT)
            noted &= ~Stops;
        if ((Bit(signal) & Stops) != 0)
            noted &= ~Bit(SIGCONT);
        before = noted.fetch_or(Bit(signal));
    }
    if ((before & NobodyReads) != 0) {
        GiveSignalsBack(); // another thread may have put this handler back in its place
        raise(signal);
    } else if (write(taken.wake[1], "", 1) < 0)
        errno = 0; // it is full, and wakes all the same
    --handlersAtWork;
    errno = error;
}

void AwaitHandlers() {
    while (handlersAtWork != 0)
        sched_yield();
}

// Calls that other threads are in end or go on as they would with the host's handler. One that the
// background forbids ends: it would be forbidden again.
void TakeSignals() {
    for (std::size_t i = 0; i < std::size(Signals); ++i) {
        struct sigaction now = {};
        sigaction(Signals[i], nullptr, &now);
        if (IsIgnored(now) || (i >= FirstOfOthers && !IsDefault(now) && !IsNote(now)))
            continue;
        if (!IsNote(now))
            taken.before[i] = now;
        struct sigaction action = {};
        action.sa_handler = Note;
        sigfillset(&action.sa_mask);
        if (!IsDefault(taken.before[i]))
            action.sa_flags = taken.before[i].sa_flags & (SA_RESTART | SA_ONSTACK);
        else if (Signals[i] != SIGTTIN && Signals[i] != SIGTTOU)
            action.sa_flags = SA_RESTART;
        sigaction(Signals[i], &action, nullptr);
    }
}

bool IsInForeground() {
    const pid_t foreground = tcgetpgrp(STDIN_FILENO);
    return foreground <= 0 || foreground == getpgrp(); // others can't tell
}

// In the background the terminal is another's, who has made settings of his own.
void SetTerminal(const termios& settings) {
    while (IsInForeground() && tcsetattr(STDIN_FILENO, TCSANOW, &settings) != 0 && errno == EINTR) {
    }
}

void GiveTerminalBack() {
    if (taken.hasTerminal.exchange(false))
        SetTerminal(taken.terminal);
}

void TakeTerminal() {
    if (tcgetattr(STDIN_FILENO, &taken.terminal) != 0)
        return;
    taken.hasTerminal = true;
    termios quiet = taken.terminal;
    quiet.c_iflag &= ~static_cast<tcflag_t>(ICRNL | INLCR | IGNCR);
    quiet.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO | ECHONL | IEXTEN);
    quiet.c_cc[VMIN] = 1;
    quiet.c_cc[VTIME] = 0;
    SetTerminal(quiet);
}

// Above the standard streams, the host's ends of which it may have closed. False if there are too
// many open files.
bool OpenPipe() {
    constexpr int Lowest = STDERR_FILENO + 1;
    int low[2];
    if (pipe2(low, O_CLOEXEC | O_NONBLOCK) != 0)
        return false;
    int error = 0;
    for (const int end : {0, 1}) {
        taken.wake[end] = fcntl(low[end], F_DUPFD_CLOEXEC, Lowest);
        if (taken.wake[end] < 0)
            error = errno;
    }
    close(low[0]);
    close(low[1]);
    errno = error;
    return error == 0;
}

void ClosePipe() {
    for (int& end : taken.wake)
        if (const int open = std::exchange(end, -1); open >= 0)
            close(open);
}

// Whatever the reader is at, he and the terminal stay with the parent.
void BeginChild() {
    taken.hasTerminal = false;
    noted = NobodyReads;
    handlersAtWork = 0;
    GiveSignalsBack();
    ClosePipe();
    new (&taken.mutex) std::mutex;
}

// Another thread may end the process, or fork it.
void PrepareEnds() {
    [[maybe_unused]] static const int atExit = std::atexit(GiveTerminalBack);
    [[maybe_unused]] static const int atFork = pthread_atfork(nullptr, nullptr, &BeginChild);
}

// While it lives, the calling thread gets the signal, also if it leaves signals to other threads.
class Unblocked {
  public:
    explicit Unblocked(int signal) {
        sigset_t one;
        sigemptyset(&one);
        sigaddset(&one, signal);
        pthread_sigmask(SIG_UNBLOCK, &one, &_before);
    }
    Unblocked(const Unblocked&) = delete;
    Unblocked& operator=(const Unblocked&) = delete;
    ~Unblocked() { pthread_sigmask(SIG_SETMASK, &_before, nullptr); }

  private:
    sigset_t _before;
};

// Gives them to the host, whose handlers have returned when this does.
void PassOn(unsigned int signals) {
    for (const int signal : Signals) {
        if ((signals & Bit(signal)) == 0)
            continue;
        const Unblocked extent(signal);
        raise(signal);
    }
}

// The signals are still the host's here, so that a stop in the background is one as any other. A
// host that is not stopped looks again and again.
void AwaitForeground() {
    constexpr useconds_t Pause = 50'000;
    const Unblocked extent(SIGTTOU);
    while (tcdrain(STDIN_FILENO) != 0 ? errno == EINTR : !IsInForeground())
        usleep(Pause);
}

bool IsWorthAnotherTry(int error) {
    return error == EINTR || error == EAGAIN;
}

} // namespace

void Overwrite(void* bytes, unsigned long n) {
    explicit_bzero(bytes, n);
}

Keyboard::Keyboard() : _isTerminal(isatty(STDIN_FILENO) != 0) {
    if (_isTerminal)
        Take();
}

Keyboard::~Keyboard() {
    const Uncancelled extent;
    if (_isTaken)
        PassOn(GiveBack());
}

void Keyboard::Take() {
    AwaitForeground();
    const Uncancelled extent;
    PrepareEnds();
    std::unique_lock<std::mutex> lock(taken.mutex);
    if (!OpenPipe()) {
        const int error = errno;
        ClosePipe();
        ZYN_THROW_INT(ZynOSException(ZYN_ORIGIN("Keyboard::Take"), "pipe2", -1, error));
    }
    taken.process = getpid();
    noted = 0;
    AwaitHandlers(); // those that still give signals back
    TakeSignals();
    TakeTerminal();
    lock.release();
    _isTaken = true;
}

// The signals that have come meanwhile.
unsigned int Keyboard::GiveBack() {
    const Uncancelled extent;
    GiveTerminalBack();
    GiveSignalsBack();
    const unsigned int signals = noted.exchange(NobodyReads);
    AwaitHandlers();
    ClosePipe();
    _isTaken = false;
    taken.mutex.unlock();
    return signals;
}

// Until there is something to do for it; the one place where signals have their effect.
void Keyboard::Await(int file, short events) {
    for (;;) {
        pollfd files[] = {{.fd = file, .events = events, .revents = 0},
                          {.fd = _isTaken ? taken.wake[0] : -1, .events = POLLIN, .revents = 0}};
        if (poll(files, std::size(files), -1) < 0 && errno == EINTR)
            continue;
        if (files[1].revents == 0)
            return;
        PassOn(GiveBack());
        Take();
    }
}

int Keyboard::Read() {
    for (;;) {
        Await(STDIN_FILENO, POLLIN);
        unsigned char byte = 0;
        const ssize_t n = read(STDIN_FILENO, &byte, 1);
        if (n > 0)
            return _isTerminal && byte == Delete ? Backspace : byte;
        if (n == 0 || !IsWorthAnotherTry(errno))
            return End;
    }
}

void Keyboard::Write(std::string_view text) {
    while (!text.empty()) {
        Await(STDOUT_FILENO, POLLOUT);
        const ssize_t n = write(STDOUT_FILENO, text.data(), text.size());
        if (n >= 0)
            text.remove_prefix(static_cast<std::size_t>(n));
        else if (!IsWorthAnotherTry(errno))
            return;
    }
}

} // namespace zynkplat
