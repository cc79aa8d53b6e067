"""What the authoring of the package's actions says, in one form for the sources of each WiX and for a package's
tables."""

from package import tables
from package.tables import PACKAGING

# In packaging/, which paths.py lets be found.
import wix_source

WIX_3, WIX_4 = PACKAGING / "kelo_custom_action.wxi", PACKAGING / "kelo_custom_action_v4.wxi"

# A service control's events: its stop when the component is installed, and when it is removed.
STOP_AT_BOTH = 2 | 32


def of_source(path):
    """What a fragment says."""
    root = wix_source.read(path)
    return {
        "actions": {action.get("Id"): (wix_source.action_type(action), *_what_runs(action))
                    for action in root.iter("CustomAction")},
        "sequence": {entry.get("Action"): (int(entry.get("Sequence")), _condition(entry))
                     for entry in root.iter("Custom")},
        "properties": {entry.get("Id"): entry.get("Value", "") for entry in root.iter("Property")},
        "secure": {entry.get("Id") for entry in root.iter("Property") if entry.get("Secure") == "yes"},
        "hidden": {entry.get("Id") for entry in root.iter("Property") if entry.get("Hidden") == "yes"},
        "launch conditions": {_condition(entry): entry.get("Message")
                              for kind in ("Condition", "Launch") for entry in root.iter(kind)},
        "progress texts": {entry.get("Action"): (entry.get("Message") or entry.text, entry.get("Template", ""))
                           for entry in root.iter("ProgressText")},
        "registry": {(component.get("Id"), value.get("Key"), value.get("Name", ""),
                      ("#" if value.get("Type") == "integer" else "") + value.get("Value"))
                     for component in root.iter("Component") for value in component.iter("RegistryValue")},
        "components": {component.get("Id"): (component.get("Guid"), _is_64_bit(component))
                       for component in root.iter("Component")},
        "stopped services": {control.get("Name") for control in root.iter("ServiceControl")
                             if control.get("Stop") == "both"},
    }


def of_package(package, like):
    """What a package says of the things that a source names."""
    def rows(name):
        return tables.table(package, name)
    actions = {row["Action"]: (int(row["Type"]), row["Source"], row["Target"]) for row in rows("CustomAction")}
    properties = {row["Property"]: row["Value"] for row in rows("Property")}
    return {
        "actions": actions,
        "sequence": {row["Action"]: (int(row["Sequence"]), row["Condition"])
                     for row in rows("InstallExecuteSequence") if row["Action"] in actions},
        "properties": {name: properties.get(name, "") for name in like["properties"]},
        "secure": {name for name in properties["SecureCustomProperties"].split(";") if not name.startswith("WIX_")},
        "hidden": set(properties["MsiHiddenProperties"].split(";")),
        "launch conditions": {row["Condition"]: row["Description"] for row in rows("LaunchCondition")
                              if "WIX_DOWNGRADE" not in row["Condition"]},
        "progress texts": {row["Action"]: (row["Description"], row["Template"]) for row in rows("ActionText")},
        "registry": {(row["Component_"], row["Key"], row["Name"], row["Value"]) for row in rows("Registry")
                     if row["Component_"] in like["components"]},
        "components": {row["Component"]: (row["ComponentId"], bool(int(row["Attributes"]) & tables.ALWAYS_64_BIT))
                       for row in rows("Component") if row["Component"] in like["components"]},
        "stopped services": {row["Name"] for row in rows("ServiceControl") if int(row["Event"]) == STOP_AT_BOTH},
    }


def _what_runs(action):
    if "Property" in action.attrib:
        return action.get("Property"), action.get("Value")
    return action.get("BinaryKey") or action.get("BinaryRef"), action.get("DllEntry")


def _condition(entry):
    return (entry.get("Condition") or entry.text or "").strip()


def _is_64_bit(component):
    return component.get("Win64") == "yes" or component.get("Bitness") == "always64"
