"""The documented forms of the files that Windows and Intune read, as far as the files in Packaging/Fleet use them.

Sources: the task schema of [MS-TSCH] 2.5, the example of a source-initiated subscription in the documentation of
Windows Event Collector, and the pages on custom compliance of Intune.
"""
import re

TASK_NAMESPACE = "http://schemas.microsoft.com/windows/2004/02/mit/task"
SUBSCRIPTION_NAMESPACE = "http://schemas.microsoft.com/2006/03/windows/events/subscription"

ANY = r"[\s\S]+"
BOOLEAN = "true|false"
DURATION = r"P(?=.)(\d+D)?(T(?=.)(\d+H)?(\d+M)?(\d+S)?)?"
DATE_TIME = r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d"
NUMBER = r"\d+"

# The elements that every trigger begins with, in this order.
TRIGGER = [("Enabled", BOOLEAN), ("StartBoundary", DATE_TIME), ("EndBoundary", DATE_TIME),
           ("ExecutionTimeLimit", DURATION)]


class Parts:
    """The children of an element: names and the form of each, a pattern for text or other parts. With `ordered`, the
    children are in the order of the list. A name in `required` must be there. No name may be there twice."""

    def __init__(self, children, required=(), ordered=False, attributes=()):
        self.children, self.required, self.ordered, self.attributes = dict(children), required, ordered, attributes
        self.order = [name for name, _ in children]


TASK = Parts([
    ("RegistrationInfo", Parts([(name, ANY) for name in (
        "URI", "SecurityDescriptor", "Source", "Date", "Author", "Version", "Description", "Documentation")])),
    ("Triggers", Parts([
        ("BootTrigger", Parts([*TRIGGER, ("Delay", DURATION)], ordered=True)),
        ("CalendarTrigger", Parts([
            *TRIGGER, ("RandomDelay", DURATION),
            ("ScheduleByDay", Parts([("DaysInterval", NUMBER)], ["DaysInterval"])),
        ], ["StartBoundary", "ScheduleByDay"], ordered=True)),
    ])),
    ("Principals", Parts([("Principal", Parts([
        ("UserId", ANY), ("LogonType", "S4U|Password|InteractiveToken"), ("GroupId", ANY), ("DisplayName", ANY),
        ("RunLevel", "LeastPrivilege|HighestAvailable"),
    ], attributes=["id"]))], ["Principal"])),
    ("Settings", Parts([
        ("MultipleInstancesPolicy", "Parallel|Queue|IgnoreNew|StopExisting"), ("DisallowStartIfOnBatteries", BOOLEAN),
        ("StopIfGoingOnBatteries", BOOLEAN), ("AllowHardTerminate", BOOLEAN), ("StartWhenAvailable", BOOLEAN),
        ("RunOnlyIfNetworkAvailable", BOOLEAN), ("WakeToRun", BOOLEAN), ("Enabled", BOOLEAN), ("Hidden", BOOLEAN),
        ("ExecutionTimeLimit", DURATION), ("AllowStartOnDemand", BOOLEAN), ("Priority", NUMBER),
    ])),
    ("Actions", Parts([("Exec", Parts([("Command", ANY), ("Arguments", ANY), ("WorkingDirectory", ANY)], ["Command"]))],
                      ["Exec"], attributes=["Context"])),
], ["Actions"], attributes=["version"])

SUBSCRIPTION = Parts([
    ("SubscriptionId", r"[\w -]+"), ("SubscriptionType", "SourceInitiated"), ("Description", ANY), ("Enabled", BOOLEAN),
    ("Uri", re.escape("http://schemas.microsoft.com/wbem/wsman/1/windows/EventLog")),
    ("ConfigurationMode", "Normal|MinLatency|MinBandwidth"), ("Query", ANY), ("ReadExistingEvents", BOOLEAN),
    ("TransportName", "http|https"), ("ContentFormat", "Events|RenderedText"),
    ("Locale", Parts([], attributes=["Language"])), ("LogFile", ANY), ("AllowedSourceNonDomainComputers", r"\s*"),
    ("AllowedSourceDomainComputers", r"O:\S+"),
], ["SubscriptionId", "SubscriptionType", "Description", "Enabled", "Uri", "Query", "LogFile",
    "AllowedSourceDomainComputers"], ordered=True)


def errors(element, parts, namespace):
    """Returns how an element differs from its form, as texts."""
    where = element.tag.rpartition("}")[2]
    found = [f"{where}: attribute {name}" for name in element.attrib if name not in parts.attributes]
    names = []
    for child in element:
        space, _, name = child.tag.rpartition("}")
        names.append(name)
        form = parts.children.get(name)
        if space != "{" + namespace or form is None:
            found.append(f"{where}: element {child.tag} is not allowed")
        elif isinstance(form, Parts):
            found += errors(child, form, namespace)
        elif child.attrib or len(child) or not re.fullmatch(form, child.text or ""):
            found.append(f"{name}: {child.text!r} does not match {form}")
    found += [f"{where}: {name} is missing" for name in parts.required if name not in names]
    found += [f"{where}: {name} is there twice" for name in set(names) if names.count(name) > 1]
    if parts.ordered and not found and names != sorted(names, key=parts.order.index):
        found.append(f"{where}: wrong order")
    return found


OPERATORS = {"IsEquals", "NotEquals", "GreaterThan", "GreaterEquals", "LessThan", "LessEquals"}
# The data types with the form of an operand.
OPERANDS = {"Boolean": (bool, ""), "Int64": (int, ""), "Double": (float, ""), "String": (str, ANY),
            "DateTime": (str, DATE_TIME), "Version": (str, r"\d+(\.\d+){1,3}")}
LANGUAGES = set("cs_CZ da_DK de_DE el_GR en_US es_ES fi_FI fr_FR hu_HU it_IT ja_JP ko_KR nb_NO nl_NL pl_PL pt_BR ro_RO "
                "ru_RU sv_SE tr_TR zh_CN zh_TW".split())
MOST_RULES_BYTES, MOST_RULES = 100 * 1024, 100
RULE = {"SettingName", "Operator", "DataType", "Operand", "MoreInfoUrl", "RemediationStrings"}


def rule_errors(rule):
    """Returns how a rule of custom compliance differs from its form, as texts."""
    if set(rule) != RULE:
        return [f"members {set(rule) ^ RULE}"]
    found = []
    kind, form = OPERANDS.get(rule["DataType"], (None, ""))
    if kind is None or type(rule["Operand"]) is not kind or (form and not re.fullmatch(form, rule["Operand"])):
        found.append(f"operand {rule['Operand']!r} of type {rule['DataType']}")
    if rule["Operator"] not in OPERATORS:
        found.append(f"operator {rule['Operator']}")
    if not re.fullmatch(r"https?://\S+", rule["MoreInfoUrl"]):
        found.append(f"address {rule['MoreInfoUrl']}")
    languages = [text["Language"] for text in rule["RemediationStrings"]]
    if "en_US" not in languages or set(languages) - LANGUAGES or len(languages) != len(set(languages)):
        found.append(f"languages {languages}")
    for text in rule["RemediationStrings"]:
        if set(text) != {"Language", "Title", "Description"} or not all(text.values()):
            found.append(f"text {text}")
    return found
