// Writes and asks what a process finds of its configuration: each argument is a question, each
// answer a line.
//
//     install, general, config:CFG   opens a key to be written
//     put:NAME=VALUE                 into it
#include <functional>
#include <iostream>
#include <map>
#include <string>

#include <zynkern/zynkern.h>

namespace {

std::string Shown(const ZynString& text) {
    return text.IsNull() ? "(null)" : text.C_str();
}

std::string Answer(const std::string& question) {
    static ZynProfile profile;
    const std::string word = question.substr(0, question.find(':'));
    const std::string rest = question.substr(std::min(word.size() + 1, question.size()));
    const std::size_t equals = std::min(rest.find('='), rest.size());
    const auto done = [](const std::function<void()>& act) {
        return [act] {
            act();
            return std::string("done");
        };
    };
    const std::map<std::string, std::function<std::string()>> answers = {
        {"install", done([&] { profile.Close(), profile.OpenInstall(true); })},
        {"general", done([&] { profile.Close(), profile.OpenGeneralConfig(true); })},
        {"config", done([&] { profile.Close(), profile.OpenConfig(rest.c_str(), true); })},
        {"put", done([&] {
             profile.Insert(rest.substr(0, equals).c_str(), rest.substr(equals + 1).c_str(), false);
         })},
        {"erase", done([&] { ZynProfile::EraseConfig(rest.c_str()); })},
        {"use", done([&] { ZynProfile::CurrentConfig(rest.c_str()); })},
        {"setenv", done([&] { setenv(rest.substr(0, equals).c_str(), &rest[equals + 1], 1); })},
        {"current", [] { return Shown(ZynProfile::CurrentConfig()); }},
        {"configs", [] { return Shown(ZynProfile::Configs()); }},
        {"language", [] { return Shown(ZynProfile::Language()); }},
        {"ccsid", [] { return std::to_string(DefaultStreamCcsid()); }},
        {"level", [] { return std::to_string(ZynTrace::Level()); }},
        {"file", [] { return Shown(ZynTrace::GetTraceFile()); }},
    };
    try {
        return answers.at(word)();
    } catch (const ZynException& e) {
        return e.AsString().C_str();
    }
}

} // namespace

int main(int argc, char* argv[]) {
    for (int i = 1; i < argc; ++i)
        std::cout << Answer(argv[i]) << '\n';
}
