#include "completion.h"

#include <algorithm>

#include "command_line.h"

namespace {

/// The words of a line, without their quotation marks; the last one is being typed and may be empty.
std::vector<std::string> wordsOf(const std::string& line)
{
    std::vector<std::string> words{""};
    char quote = 0;
    for (const char character : line) {
        if (quote != 0 ? character == quote : character == '"' || character == '\'')
            quote = quote != 0 ? 0 : character;
        else if (character == ' ' && quote == 0)
            words.emplace_back();
        else
            words.back() += character;
    }
    // Several blanks separate like one.
    words.erase(std::remove(words.begin(), words.end() - 1, ""), words.end() - 1);
    return words;
}

bool takesValue(const Verb& verb, const std::string& option)
{
    if (option == "--log" || option == "--timeout" || option == "--wait-lock")
        return true;
    return std::any_of(verb.parameters().begin(), verb.parameters().end(), [&option](const Parameter& parameter) {
        return parameter.name == option && !std::holds_alternative<bool*>(parameter.target);
    });
}

void addValuesOf(Completion& completion, const Parameter& parameter)
{
    completion.words = parameter.words;
    for (const auto& choice : parameter.choices)
        completion.words.push_back(choice.first);
    completion.machines = parameter.isMachine;
}

/// The values of the option `name`, or of the argument at this place; the last argument may take several.
void addValues(Completion& completion, const Verb& verb, const std::string& name, std::size_t place)
{
    const Parameter* last = nullptr;
    for (const Parameter& parameter : verb.parameters()) {
        if (!name.empty() ? parameter.name == name : parameter.isArgument()) {
            last = &parameter;
            if (!name.empty() || place-- == 0)
                return addValuesOf(completion, parameter);
        }
    }
    if (last && std::holds_alternative<std::vector<std::string>*>(last->target))
        addValuesOf(completion, *last);
}

void addOptions(Completion& completion, const Verb& verb)
{
    completion.words = generalOptions();
    for (const Parameter& parameter : verb.parameters()) {
        if (!parameter.isArgument())
            completion.words.push_back(parameter.name);
    }
}

/// Behind the verb: options, or the value of one, or an argument.
void addParameters(Completion& completion, const Verb& verb, const std::vector<std::string>& given)
{
    if (completion.begun.starts_with("-"))
        return addOptions(completion, verb);
    std::size_t place = 0;
    std::string pending; // an option that waits for its value
    for (const std::string& word : given) {
        if (!pending.empty())
            pending.clear();
        else if (word.starts_with("-"))
            pending = takesValue(verb, word) ? word : "";
        else
            ++place;
    }
    addValues(completion, verb, pending, place);
}

/// The first words of the verbs of a group, or of all.
void addVerbs(Completion& completion, const Verbs& verbs, const std::string& group)
{
    for (const Verb& verb : verbs.all()) {
        const std::string word = verb.group() == group ? verb.word() : group.empty() ? verb.group() : "";
        if (!word.empty() && (completion.words.empty() || completion.words.back() != word))
            completion.words.push_back(word);
    }
}

} // namespace

Completion completionOf(const Verbs& verbs, const std::string& line)
{
    std::vector<std::string> words = wordsOf(line);
    Completion completion;
    completion.begun = words.back();
    words.pop_back();
    if (!words.empty())
        words.erase(words.begin()); // the program
    const auto isVerb = [&words](const Verb& verb) {
        const std::size_t place = verb.group().empty() ? 0 : 1;
        return words.size() > place && words[place] == verb.word() && (place == 0 || words[0] == verb.group());
    };
    const auto verb = std::find_if(verbs.all().begin(), verbs.all().end(), isVerb);
    if (verb != verbs.all().end())
        addParameters(completion, *verb, {words.begin() + (verb->group().empty() ? 1 : 2), words.end()});
    else
        addVerbs(completion, verbs, words.empty() ? "" : words[0]);
    std::erase_if(completion.words,
                  [&completion](const std::string& word) { return !word.starts_with(completion.begun); });
    return completion;
}
