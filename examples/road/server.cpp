// road_server [SOCKET]: takes orders until it is told to end by SIGTERM or SIGINT.
//
// SOCKET is a path, or HOST:PORT of the loopback interface; with port 0 the system chooses one, and
// the line "ready at" tells which. Without it, the current configuration has it. What is printed is
// in the code page of this program's locale, whatever that of the client is.
//
// One client after another, one order each. None of them can do more than keep the next one
// waiting for as long as a message may take.
#include <clocale>
#include <csignal>
#include <cstdio>
#include <exception>
#include <iostream>
#include <string>

#include <zynkern/zynkern.h>

#include "answer.h"
#include "configuration.h"
#include "order.h"
#include "print.h"
#include "stream_socket.h"

namespace {

constexpr std::chrono::seconds ClientTimeout(2);

volatile std::sig_atomic_t stopRequested = 0;

void RequestStop(int /*signal*/) {
    stopRequested = 1;
}

// The signals that end the server are held back except while it waits for a client: an order under
// way is answered, and none comes between the look at the flag and the wait. Answers the mask to
// wait with.
sigset_t HoldStopSignals() {
    struct sigaction action {};
    action.sa_handler = RequestStop;
    sigset_t held;
    sigset_t waiting;
    sigemptyset(&held);
    for (const int signal : {SIGTERM, SIGINT}) {
        sigaction(signal, &action, nullptr);
        sigaddset(&held, signal);
    }
    sigprocmask(SIG_BLOCK, &held, &waiting);
    sigdelset(&waiting, SIGTERM);
    sigdelset(&waiting, SIGINT);
    return waiting;
}

Answer Accepted(const WorkOrder& order) {
    static long lastWorkItem = 0;
    Answer answer;
    answer.accepted = true;
    answer.workItem = ++lastWorkItem;
    answer.text = "the order is taken";
    if (!order.attachment.IsNull())
        answer.digest = order.attachment.ToMD5();
    return answer;
}

Answer Refused(const Bytes& message, const ZynString& why) {
    // The reason may quote the message.
    const std::string text = Printable(why);
    std::cerr << "road_server: message of " << message.size() << " bytes refused: " << text << '\n';
    Answer answer;
    answer.text = text.c_str();
    return answer;
}

// Whatever the bytes are, there is an answer to them.
Answer AnswerTo(const Bytes& message) {
    try {
        ZynStream stream = DecodeMessage(message);
        const WorkOrder order = UnpackOrder(stream, CodePageOf(message));
        const ZynBIID instance = InstanceOf(order);
        Answer answer = Accepted(order);
        std::cout << "order of " << message.size() << " bytes\n"
                  << Line("service", Printable(stream.GetHXWIHServiceName()))
                  << Line("step", Printable(stream.GetHXWIHServiceStep())) << order;
        std::cout << "for the instance " << instance << '\n';
        std::cout << "answer\n" << answer;
        return answer;
    } catch (const ZynStream::Exception& error) {
        return Refused(message, ZynString("damaged: ") | error.AsString());
    } catch (const ZynExtExcINVALID_OID& error) {
        return Refused(message, ZynString("not a handle of this kind: ") | error.AsString());
    } catch (const ZynConverter::InvalidCodePage& error) {
        return Refused(message, ("its texts are in code page " +
                                 std::to_string(error.SourceCcsid()) + ", which is not known")
                                    .c_str());
    } catch (const ZynException& error) {
        return Refused(message, error.AsString());
    } catch (const MessageError& error) {
        return Refused(message, error.what());
    }
}

// In the code page of the client, or in this program's own if the client's is none.
ZynStream AnswerStream(const Answer& answer, unsigned short codePage) {
    try {
        return PackAnswer(answer, codePage);
    } catch (const ZynException&) {
        return PackAnswer(answer, 0);
    }
}

// A client that fails takes nobody with it.
void Serve(Channel& client) {
    try {
        const Bytes message = client.Receive();
        const ZynStream answer = AnswerStream(AnswerTo(message), CodePageOf(message));
        client.Send({answer.PreWrite(), answer.Length()});
    } catch (const ZynException& error) {
        std::cerr << "road_server: no answer: " << error << '\n';
    } catch (const std::exception& error) {
        std::cerr << "road_server: client lost: " << error.what() << '\n';
    }
}

void Run(const std::string& socket) {
    const sigset_t waiting = HoldStopSignals();
    StreamListener listener{SocketAddress(socket)};
    std::cout << "ready at " << listener.Address().Text() << '\n';
    while (stopRequested == 0)
        if (const auto client = listener.Accept(waiting, ClientTimeout))
            Serve(*client);
    std::cout << "ended\n";
}

} // namespace

int main(int argc, char* argv[]) {
    std::setlocale(LC_ALL, "");
    // Whole lines at once, also into a pipe.
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    if (argc > 2) {
        std::cerr << "usage: road_server [SOCKET]\n";
        return 2;
    }
    try {
        Run(argc == 2 ? argv[1] : ConfiguredSocket());
        return 0;
    } catch (const ZynException& error) {
        std::cerr << "road_server: " << error << '\n';
    } catch (const std::exception& error) {
        std::cerr << "road_server: " << error.what() << '\n';
    }
    return 1;
}
