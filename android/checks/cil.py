"""Reads what a compiled policy (in CIL, as checkpolicy writes it) allows."""

import re


def parse(text):
    """One statement as nested lists."""
    stack = [[]]
    for token in re.findall(r'[()]|"[^"]*"|[^\s()]+', text):
        if token == "(":
            stack.append([])
        elif token == ")":
            done = stack.pop()
            stack[-1].append(done)
        else:
            stack[-1].append(token)
    return stack[0][0]


class Policy:
    """Types with their attributes, and allow rules."""

    def __init__(self, text):
        self.types = set(re.findall(r"^\(type (\w+)\)", text, re.M))
        self.transitions = {tuple(line.split()) for line in re.findall(r"^\(typetransition ([^()]+)\)", text, re.M)}
        self.sets = {}
        for name, expression in re.findall(r"^\(typeattributeset (\w+) (.*)\)$", text, re.M):
            self.sets.setdefault(name, []).append(parse(expression))
        self.rules = {}  # source to rows (target, class, permissions)
        for line in re.findall(r"^\(allow .*\)$", text, re.M):
            _, source, target, (kind, permissions) = parse(line)
            self.rules.setdefault(source, []).append((target, kind, set(permissions)))
        self.attributes = {}

    def holds(self, expression, name):
        """Whether a set expression contains a type."""
        if isinstance(expression, str):
            return expression == name or any(self.holds(part, name) for part in self.sets.get(expression, []))
        if not expression:
            return False
        first, rest = expression[0], expression[1:]
        if first == "all":
            return True
        if first == "not":
            return not self.holds(rest[0], name)
        if first == "and":
            return all(self.holds(part, name) for part in rest)
        return any(self.holds(part, name) for part in (rest if first == "or" else expression))

    def names_of(self, name):
        """A type and its attributes."""
        if name not in self.attributes:
            self.attributes[name] = {name} | {attribute for attribute in self.sets if self.holds(attribute, name)}
        return self.attributes[name]

    def allowed(self, source, target, kind):
        """The permissions of a source on the objects of one class and type."""
        targets = self.names_of(target) | ({"self"} if source == target else set())
        return set().union(*(permissions for name in self.names_of(source)
                             for rule_target, rule_kind, permissions in self.rules.get(name, [])
                             if rule_target in targets and rule_kind == kind))
