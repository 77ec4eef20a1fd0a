"""The type stubs name what the package offers, no more and no less."""

import ast
import inspect
import os

import lorn


def stub_names(tree):
    names = {}
    for node in tree.body:
        if isinstance(node, ast.ClassDef):
            names[node.name] = {n.name for n in node.body if isinstance(n, ast.FunctionDef)}
            names[node.name] |= {n.target.id for n in node.body if isinstance(n, ast.AnnAssign)}
        elif isinstance(node, ast.FunctionDef):
            names[node.name] = None
        elif isinstance(node, ast.ImportFrom):
            names.update({alias.asname or alias.name: None for alias in node.names})
    return names


def public(cls):
    own = set(vars(cls)) | set(getattr(cls, "__annotations__", {}))
    return {n for n in own if not n.startswith("_") or n in ("__len__", "__iter__", "__enter__", "__exit__")}


def test_stubs_match_the_package():
    path = os.path.join(os.path.dirname(lorn.__file__), "__init__.pyi")
    with open(path, encoding="utf-8") as stub:
        names = stub_names(ast.parse(stub.read()))
    assert set(lorn.__all__) <= set(names)
    for name in lorn.__all__:
        item = getattr(lorn, name)
        if inspect.isclass(item) and names[name] is not None:
            assert public(item) == names[name] - {"__init__"}, name
