"""What calls raise and warn of, beside TypeError, ValueError and MemoryError."""


class Rejected(ValueError):
    """The library rejected the input: the text of its warning says what was found and what was expected."""

    def __init__(self, caption: str, text: str) -> None:
        super().__init__(text)
        self.caption = caption

    def __reduce__(self) -> tuple[type["Rejected"], tuple[str, str]]:
        return Rejected, (self.caption, str(self))


class CalibrationWarning(UserWarning):
    """A warning of the library with which a call still gave its results, such as "WB Calib Warning: Too Dark"."""
