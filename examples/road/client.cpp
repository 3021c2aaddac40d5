// road_client [OPTIONS] [SOCKET] ORDERFILE: sends an order.
//
// SOCKET is a path or HOST:PORT, as the server got it; without it, the current configuration has
// it. The order file is text in the code page of this program's locale.
//
//     --dump           shows the bytes of both messages
//     --process TEXT   takes TEXT for the handle of the process, whatever it is
//     --instance TEXT  the same for the handle of the instance
//     --damage OFFSET  inverts the byte at OFFSET before the order is sent
//     --cut BYTES      leaves out the last BYTES bytes
//
// Ends with 0 if the order was accepted, 1 if not, and 2 if it was called in a wrong way.
#include <charconv>
#include <clocale>
#include <cstdio>
#include <exception>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include <zynkern/zynkern.h>

#include "answer.h"
#include "configuration.h"
#include "dump.h"
#include "order.h"
#include "order_file.h"
#include "stream_socket.h"

namespace {

constexpr std::chrono::seconds ServerTimeout(30);

struct Arguments {
    bool dump = false;
    std::optional<std::string> processHandle;
    std::optional<std::string> instanceHandle;
    std::optional<std::size_t> damage;
    std::size_t cut = 0;
    std::optional<std::string> socket;
    std::string orderFile;
};

class UsageError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

std::size_t Count(std::string_view option, std::string_view text) {
    std::size_t count = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), count);
    if (error != std::errc() || end != text.data() + text.size())
        throw UsageError(std::string(option) + " needs a number");
    return count;
}

Arguments ParseArguments(std::span<char* const> words) {
    Arguments arguments;
    std::size_t i = 0;
    const auto value = [&]() -> std::string_view { return ++i < words.size() ? words[i] : ""; };
    for (; i < words.size() && std::string_view(words[i]).starts_with("--"); ++i) {
        const std::string_view option = words[i];
        if (option == "--dump")
            arguments.dump = true;
        else if (option == "--process")
            arguments.processHandle = value();
        else if (option == "--instance")
            arguments.instanceHandle = value();
        else if (option == "--damage")
            arguments.damage = Count(option, value());
        else if (option == "--cut")
            arguments.cut = Count(option, value());
        else
            throw UsageError("what is " + std::string(option) + "?");
    }
    const std::size_t rest = words.size() - i;
    if (rest != 1 && rest != 2)
        throw UsageError("an order file is needed, or a socket and an order file");
    if (rest == 2)
        arguments.socket = words[i];
    arguments.orderFile = words.back();
    return arguments;
}

// The bytes to send: those of the order, unless a fault is asked for.
Bytes MessageFor(const WorkOrder& order, const Arguments& arguments) {
    const ZynStream stream = PackOrder(order);
    Bytes message(stream.PreWrite(), stream.PreWrite() + stream.Length());
    const std::size_t size = message.size();
    if (arguments.damage.value_or(0) >= size || arguments.cut > size)
        throw UsageError("the message has only " + std::to_string(size) + " bytes");
    if (arguments.damage)
        message[*arguments.damage] = static_cast<char>(~message[*arguments.damage]);
    message.resize(size - arguments.cut);
    return message;
}

Answer Exchange(Channel& server, const Bytes& message, bool dump) {
    std::cout << "sending " << message.size() << " bytes\n";
    if (dump)
        Dump(std::cout, message);
    server.Send(message);
    const Bytes reply = server.Receive();
    std::cout << "answer of " << reply.size() << " bytes\n";
    if (dump)
        Dump(std::cout, reply);
    ZynStream answer = DecodeMessage(reply);
    return UnpackAnswer(answer);
}

// Whether the server has seen the attachment that was sent.
bool IsDigestRight(const WorkOrder& order, const Answer& answer) {
    if (order.attachment.IsNull() || answer.digest.IsNull())
        return order.attachment.IsNull() == answer.digest.IsNull();
    return order.attachment.ToMD5() == answer.digest;
}

bool Run(const Arguments& arguments) {
    WorkOrder order = ReadOrderFile(arguments.orderFile);
    if (arguments.processHandle)
        order.processHandle = arguments.processHandle->c_str();
    if (arguments.instanceHandle)
        order.instanceHandle = arguments.instanceHandle->c_str();
    const Bytes message = MessageFor(order, arguments);
    const std::string socket = arguments.socket ? *arguments.socket : ConfiguredSocket();
    StreamSocket server(SocketAddress(socket), ServerTimeout);
    std::cout << "order from " << arguments.orderFile << '\n' << order;
    const Answer answer = Exchange(server, message, arguments.dump);
    std::cout << answer;
    if (answer.accepted && !IsDigestRight(order, answer))
        throw std::runtime_error("the attachment did not arrive as it was sent");
    return answer.accepted;
}

} // namespace

int main(int argc, char* argv[]) {
    std::setlocale(LC_ALL, "");
    std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    try {
        return Run(ParseArguments(std::span(argv, static_cast<std::size_t>(argc)).subspan(1))) ? 0
                                                                                               : 1;
    } catch (const UsageError& error) {
        std::cerr << "road_client: " << error.what() << '\n'
                  << "usage: road_client [--dump] [--process TEXT] [--instance TEXT] "
                     "[--damage OFFSET] [--cut BYTES] [SOCKET] ORDERFILE\n";
        return 2;
    } catch (const ZynException& error) {
        std::cerr << "road_client: " << error.AsString() << '\n';
    } catch (const std::exception& error) {
        std::cerr << "road_client: " << error.what() << '\n';
    }
    return 1;
}
