// What may stand at the end of a command line, and the scripts with which shells ask for it.

#include "core/completion.h"

#include "core/context.h"
#include "core/terminal.h"

using namespace Travik;

namespace {

const char* const powershellScript = R"ps(Register-ArgumentCompleter -Native -CommandName travikctl -ScriptBlock {
    param($word, $command, $cursor)
    $line = $command.ToString().PadRight($cursor).Substring(0, $cursor) -replace '"', "'"
    travikctl completion powershell --line $line | ForEach-Object {
        $text = if ($_ -match ' ') { '"' + $_ + '"' } else { $_ }
        [System.Management.Automation.CompletionResult]::new($text, $_, 'ParameterValue', $_)
    }
})ps";

const char* const bashScript = R"sh(_travikctl() {
    local word
    COMPREPLY=()
    while IFS= read -r word; do
        COMPREPLY+=("$(printf %q "$word")")
    done < <(travikctl completion bash --line "${COMP_LINE:0:COMP_POINT}" | tr -d '\r')
}
complete -o default -F _travikctl travikctl travikctl.exe)sh";

/// Without VirtualBox there are none; whoever presses the tabulator wants no explanation.
void addMachines(Context& context, Completion& completion)
{
    try {
        connect(context.vbox, std::chrono::seconds(2));
        for (const MachineEntry& entry : listMachines(context.vbox)) {
            const std::string name = toUtf8(entry.name);
            if (entry.accessible && name.starts_with(completion.begun))
                completion.words.push_back(name);
        }
    } catch (const SdkError&) {
    }
}

void complete(Context& context, const Verbs& verbs, const std::string& line)
{
    Completion completion = completionOf(verbs, line);
    if (completion.machines)
        addMachines(context, completion);
    std::string text;
    for (const std::string& word : completion.words)
        text += (text.empty() ? "" : "\n") + word;
    context.out.record({{"words", completion.words}});
    if (!text.empty())
        context.out.answer(text, Json::object());
}

} // namespace

void addCompletionVerb(Verbs& verbs)
{
    struct Options
    {
        std::string shell;
        std::optional<std::string> line;
    };
    auto options = std::make_shared<Options>();
    verbs
        .add("completion", "The script that makes a shell complete travikctl's command lines",
             [options, &verbs](Context& context) {
                 const std::string script = options->shell == "bash" ? bashScript : powershellScript;
                 options->line ? complete(context, verbs, *options->line)
                               : context.out.answer(script, {{"script", script}});
             })
        .withoutVirtualBox()
        .argument("SHELL", &options->shell, "powershell or bash")
        .words({"powershell", "bash"})
        .option("--line", "TEXT", &options->line, "What the script asks: the words that may stand at this line's end")
        .example("completion powershell >> $PROFILE")
        .example("completion bash >> ~/.bashrc");
}
