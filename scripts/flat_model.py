"""What the bindings with objects have in common. From travik_api.json."""
import re

# Parameters that may be left out, as what they then are.
OPTIONAL = {"environmentChanges"}


class Method:
    """One operation as a method: owner and name, the parameters that the caller gives, those that come back."""

    def __init__(self, function, api):
        self.function = function
        self.owner = function["class"]
        self.name = function["method"]
        parameters = function["parameters"]
        # The first parameter of an operation of a class is the object itself.
        self.receiver = None if self.owner == "Library" else parameters[0]
        self.inputs = [each for each in parameters if each["direction"] == "in" and each is not self.receiver]
        self.outputs = [each for each in parameters if each["direction"] == "out"]
        self.comment = self._comment(api)

    def _comment(self, api):
        """Its words with the methods' names, and without giving handles back, which objects do themselves."""
        text = self.function["comment"]
        text = re.sub(r" ?Give each back with travik_\w+, and the list with travik_\w+\.", "", text)
        text = re.sub(r" ?(Give (the handle|it|the progress) back with travik_\w+|"
                      r"Wait on the progress; release it with travik_\w+)\.", "", text)
        text = re.sub(r"; (the handle stays until|and its handle stays until) travik_\w+", "", text)
        text = re.sub(r" The handle stays until travik_\w+\.", "", text)
        text = text.replace("travik_finishProgress", "Progress's finish").replace("travik_open", "opening")
        names = {each["name"]: (each.get("class"), each.get("method")) for each in api["functions"]}

        def rename(match):
            owner, method = names.get(match[0], (None, None))
            if method is None:
                raise SystemExit(f"{self.owner}.{self.name}: its words name {match[0]}, which is no method")
            return method if owner == self.owner else f"{owner}'s {method}"
        return re.sub(r"travik_\w+", rename, text)


def classes(api):
    """{class: [methods]}, Library last."""
    made = {each["class"]: [] for each in api["handles"]}
    made["Library"] = []
    for function in api["functions"]:
        if "class" in function:
            made[function["class"]].append(Method(function, api))
    return {name: methods for name, methods in made.items() if methods}


def class_of(api, handle):
    return next(each["class"] for each in api["handles"] if each["name"] == handle)


def names_of_objects(api):
    """The C types that travel as a 64-bit number: the handles and the watcher."""
    return {each["type"] for each in api["handles"]} | {
        each["name"] for each in api["structs"] if [field["name"] for field in each["fields"]] == ["value"]}


def constants(api):
    """The numbers that a binding's ground needs."""
    numbers = api["constants"] | api["ownCodes"]
    return {name.removeprefix("TRAVIK_"): value for name, value in numbers.items()}


def structs(api):
    """The structs that hold more."""
    return [each for each in api["structs"] if each["name"] not in names_of_objects(api)]


def snake(name):
    return re.sub(r"(?<=[a-z0-9])([A-Z])", r"_\1", name).lower()
