"""travik.hpp from its template: the enumerations, and a class for each kind of handle with its operations."""
import textwrap

from flat_model import OPTIONAL, class_of, classes

WIDTH = 120
NUMBERS = {"u32": "std::uint32_t", "i32": "std::int32_t", "i64": "std::int64_t"}
LIBRARY = """/// The library, open as long as this object. One at a time in a process.
class Library
{
public:
    struct Options
    {
        std::string logPath = {};             ///< the log's file; empty: standard output
        std::chrono::milliseconds limit{0};   ///< of calls that give none; 0: none
        bool callerThread = false;            ///< calls run where they are made; see TRAVIK_OPEN_CALLER_THREAD
        bool lazy = false;                    ///< VirtualBox's objects are made on first need
    };

    Library() : Library(Options()) {}
    explicit Library(const Options& options)
    {
        travik_options raw{sizeof(travik_options), 0, nullptr, static_cast<std::uint32_t>(options.limit.count()), 0};
        if (options.callerThread)
            raw.flags |= TRAVIK_OPEN_CALLER_THREAD;
        if (options.lazy)
            raw.flags |= TRAVIK_OPEN_LAZY;
        raw.logPath = options.logPath.empty() ? nullptr : options.logPath.c_str();
        detail::check([&](travik_error** error) { return travik_open(&raw, error); });
    }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;
    /// Waits for a call that runs; those that wait for their turn fail.
    ~Library() { travik_close(TRAVIK_NO_DEADLINE, nullptr); }

    /// Ends now, and throws TimedOut when a running call lasts longer.
    void close(Limit limit = Limit())
    {
        detail::check([&](travik_error** error) { return travik_close(limit.milliseconds, error); });
    }

"""
FINISH = """\
    /// Waits until the task is complete, and throws as it failed. It goes on after TimedOut. 183, 121 to 124.
    void finish(Limit limit = Limit()) const
    {
        detail::check(
            [&](travik_error** error) { return travik_finishProgress(get(), limit.milliseconds, error); });
    }

"""


def note(text, indent):
    return "".join(f"{indent}/// {line}\n" for line in textwrap.wrap(text, WIDTH - 6 - len(indent),
                                                                     break_on_hyphens=False, break_long_words=False))


def input_type(api, each):
    base = each["type"]
    if base == "handle":
        return f"const {class_of(api, each['handle'])}& {each['name']}"
    if each.get("meaning"):
        return f"{each['meaning']} {each['name']}"
    return {"text": "const std::string&", "texts": "const std::vector<std::string>&"}.get(
        base, NUMBERS.get(base)) + f" {each['name']}"


def result_type(api, each):
    base = each["type"]
    if base == "handle":
        return class_of(api, each["handle"])
    if base == "handles":
        return f"std::vector<{class_of(api, each['handle'])}>"
    texts = {"text": "std::string", "texts": "std::vector<std::string>"}
    return each.get("meaning") or texts.get(base, NUMBERS.get(base))


def results(api, method):
    outputs = method.outputs
    if len(outputs) > 1:
        return method.name[0].upper() + method.name[1:]
    return result_type(api, outputs[0]) if outputs else "void"


def parameters(api, method, declared):
    made = [input_type(api, each) + (" = {}" if declared and each["name"] in OPTIONAL else "")
            for each in method.inputs]
    return ", ".join(made + ["Limit limit" + (" = Limit()" if declared else "")])


def passed(each):
    name, base = each["name"], each["type"]
    if each["direction"] == "out":
        return f"{name}Out.put()"
    if base == "handle":
        return f"{name}.get()"
    if base == "text":
        return f"{name}.c_str()"
    if base == "texts":
        return f"{name}In.data(), static_cast<std::uint32_t>({name}In.size())"
    if each.get("meaning") == "bool":
        return f"{name} ? 1u : 0u"
    return f"static_cast<std::uint32_t>({name})" if each.get("meaning") else name


def output(each):
    base = each["type"]
    kind = {"text": "Text", "texts": "Texts", "handles": "Machines"}.get(base)
    if kind is None:
        kind = f"Place<travik_{each['handle']}>" if base == "handle" else f"Place<{NUMBERS[base]}>"
    return f"    detail::{kind} {each['name']}Out;\n"


def taken(api, each):
    name = f"{each['name']}Out"
    if each["type"] == "handle":
        return f"{class_of(api, each['handle'])}({name}.take())"
    if each.get("meaning") == "bool":
        return f"{name}.take() != 0"
    return f"static_cast<{each['meaning']}>({name}.take())" if each.get("meaning") else f"{name}.take()"


def definition(api, method):
    owner = method.owner
    text = f"inline {results(api, method)} {owner}::{method.name}({parameters(api, method, False)}) const\n{{\n"
    for each in method.inputs:
        if each["type"] == "texts":
            text += f"    const std::vector<const char*> {each['name']}In = detail::pointers({each['name']});\n"
    text += "".join(output(each) for each in method.outputs)
    arguments = ["get()"] if method.receiver else []
    arguments += [passed(each) for each in method.function["parameters"] if each is not method.receiver]
    call = f"{method.function['name']}({', '.join(arguments + ['limit.milliseconds', 'error'])})"
    text += f"    detail::check([&](travik_error** error) {{ return {call}; }});\n"
    if len(method.outputs) == 1 and method.outputs[0]["type"] == "handles":
        out = method.outputs[0]
        text += (f"    std::vector<{class_of(api, out['handle'])}> all;\n"
                 f"    for (std::uint32_t i = 0; i < {out['name']}Out.value.count; ++i)\n"
                 f"        all.emplace_back({out['name']}Out.value.items[i]);\n    return all;\n")
    elif len(method.outputs) > 1:
        text += f"    return {{{', '.join(taken(api, each) for each in method.outputs)}}};\n"
    elif method.outputs:
        text += f"    return {taken(api, method.outputs[0])};\n"
    return text + "}\n"


def declarations(api, methods):
    return "\n".join(note(method.comment, "    ") +
                     f"    {results(api, method)} {method.name}({parameters(api, method, True)}) const;\n"
                     for method in methods)


def structs(api, methods):
    made = ""
    for method in methods:
        if len(method.outputs) > 1:
            fields = "".join(f"    {result_type(api, each)} {each['name']};\n" for each in method.outputs)
            made += f"/// What {method.owner}::{method.name} tells.\nstruct {results(api, method)}\n{{\n{fields}}};\n\n"
    return made


def declared(api, name, methods):
    body = declarations(api, methods)
    if name == "Library":
        return LIBRARY + body + "};"
    handle = next(each for each in api["handles"] if each["class"] == name)
    base = f"Handle<{handle['type']}, &{handle['release']}>"
    extra = FINISH if name == "Progress" else ""
    return (structs(api, methods) + f"class {name} : public {base}\n{{\npublic:\n    using Handle::Handle;\n\n"
            f"{extra}{body}}};")


def header(api, template):
    made = classes(api)
    enumerations = "\n\n".join(
        f"enum class {name} : std::uint32_t\n{{\n" + ",\n".join(f"    {value} = {number}" for value, number in
                                                                values.items()) + "\n};"
        for name, values in api["enumerations"].items() if name not in ("VBoxResultCode", "Result"))
    replaced = {
        "ENUMERATIONS": enumerations,
        "FORWARD": "\n".join(f"class {name};" for name in made if name != "Library"),
        "CLASSES": "\n\n".join(declared(api, name, methods) for name, methods in made.items()),
        "DEFINITIONS": "\n".join(definition(api, method) for methods in made.values() for method in methods).rstrip(),
    }
    for mark, text in replaced.items():
        template = template.replace(f"@{mark}@", text)
    return template
