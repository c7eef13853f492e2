"""Reads the permissions of a compiled policy, in CIL as checkpolicy writes it."""

import re


def parse(text):
    """Returns a statement as nested lists."""
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
        self.rules = {}  # by source: rows (target, class, permissions)
        for line in re.findall(r"^\(allow .*\)$", text, re.M):
            _, source, target, (kind, permissions) = parse(line)
            self.rules.setdefault(source, []).append((target, kind, set(permissions)))
        self.known = {}

    def members(self, expression):
        """Returns the types of a set expression, an attribute or a type."""
        if isinstance(expression, str):
            if expression not in self.known:
                parts = self.sets.get(expression)
                self.known[expression] = {expression} if parts is None else set().union(*map(self.members, parts))
            return self.known[expression]
        first, rest = expression[0], expression[1:]
        if first == "all":
            return self.types
        if first == "not":
            return self.types - self.members(rest[0])
        if first == "and":
            return set.intersection(*map(self.members, rest))
        return set().union(*map(self.members, rest if first == "or" else expression))

    def names_of(self, name):
        """Returns a type and its attributes."""
        return {name} | {attribute for attribute in self.sets if name in self.members(attribute)}

    def allowed(self, source, target, kind):
        """Returns the permissions of a source on the objects of a class and type."""
        targets = self.names_of(target) | ({"self"} if source == target else set())
        return set().union(*(permissions for name in self.names_of(source)
                             for rule_target, rule_kind, permissions in self.rules.get(name, [])
                             if rule_target in targets and rule_kind == kind))

    def sources(self, target, kind, permission):
        """Returns the types that have a permission on the objects of a class and type."""
        targets = self.names_of(target)
        return set().union(*(self.members(source) for source, rows in self.rules.items()
                             for rule_target, rule_kind, permissions in rows
                             if rule_kind == kind and permission in permissions and rule_target in targets))
