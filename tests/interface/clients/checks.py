"""What the tests of the Python package ask."""


def expect(found, wanted):
    if found != wanted:
        raise AssertionError(f"found {found!r}, wanted {wanted!r}")


def refused(error, call, *arguments, **named):
    """The sentence of the error, of this very class, that the call raises."""
    try:
        call(*arguments, **named)
    except error as problem:
        expect((type(problem), str(problem) != ""), (error, True))
        return str(problem)
    raise AssertionError(f"{call} took {arguments} {named}")
