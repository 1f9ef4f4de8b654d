"""The explore page served from Python: Network.explore() returns an
ExploreServer, which close() (or leaving a `with` block) stops."""


class ExploreServer:
    """A running explore page on 127.0.0.1.

        with net.explore(algorithm="exact") as server:
            webbrowser.open(server.url)
            ...

    Not closed, the server runs on its background thread until the
    interpreter exits."""

    def __init__(self, core):
        self._core = core

    @property
    def url(self) -> str:
        """Its address, "http://127.0.0.1:PORT/"."""
        return self._core.url

    @property
    def port(self) -> int:
        """The port it listens on (the free one chosen for port=0)."""
        return self._core.port

    @property
    def closed(self) -> bool:
        """Whether close() has stopped it."""
        return self._core.closed

    def close(self) -> None:
        """Stops serving and frees the port, once requests under way have
        been answered. Closing again does nothing."""
        self._core.close()

    def __enter__(self):
        return self

    def __exit__(self, *exc_info):
        self.close()

    def __str__(self):
        return self.url

    def __repr__(self):
        return f"<ExploreServer {self.url}{' closed' if self.closed else ''}>"
