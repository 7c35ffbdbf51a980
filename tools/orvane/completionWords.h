/*
 * completionWords.h -- what can follow on a command line that is being typed
 *
 *   FindCompletion(program, {"config", "sh"})          fixed: the words that fit, such as commands and options
 *   FindCompletion(program, {"ls", "--profile", ""})   kProfile: the name of a profile
 *   FindCompletion(program, {"ls", "/Data"})           kPath: a path in the inventory, of the service that the words name
 *   FindCompletion(program, {"call", "vm-1", "Po"})    kMethod: a method of the object of that service
 *   FindCompletion(program, {"set", "vm-1", "a=t"})    kSetting: a value of "a"
 *
 * It comes from the same descriptions as --help. A word that is not understood is passed over.
 */
#pragma once

#include <map>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace orvaneCli {

enum class WordKind {
    kFixed,
    kProfile,
    kPath,
    kJob,
    kTask,
    kMethod,
    kArgument, /* of a method: NAME=VALUE */
    kProperty, /* a property path */
    kSetting   /* of "orvane set": NAME=VALUE */
};

struct Completion {
    WordKind kind = WordKind::kFixed;
    std::vector<std::string> words; /* of kFixed, all that begin like the last word */
    std::string start;              /* the last word, or what is typed of the value */
    std::string
        before; /* "--profile=", if the value is in the same word; put before each candidate */
    std::string command; /* the last word of the command: "call" */
    /* The options before the last word by their long names, "--profile"; flags have an empty text. */
    std::map<std::string, std::string> options;
    /* The arguments of the command before the last word: "vm-1", "PowerOnVM_Task". */
    std::vector<std::string> arguments;
};

/* The words are those behind the program's name, the last one, which may be empty, is to be completed. */
Completion FindCompletion(const CLI::App &program, const std::vector<std::string> &words);

} // namespace orvaneCli
