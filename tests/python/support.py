"""What the tests share: ports that are free, and a tool and its host on one asyncio loop."""

import contextlib
import pathlib
import shutil
import socket
import tempfile

import velto

MODEL = pathlib.Path(__file__).parents[2] / "examples/etch_tool.model"


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


@contextlib.asynccontextmanager
async def pair(encoding="latin-1"):
    """A tool with the example's model, and a host that communicates with it."""
    port = free_port()
    with tempfile.TemporaryDirectory() as folder:
        model = shutil.copy(MODEL, folder)
        async with velto.gem.Equipment(model, listen=port, encoding=encoding) as tool:
            async with velto.gem.Host(f"127.0.0.1:{port}", encoding=encoding) as host:
                host.T5 = 1
                await host.connect(10)
                await tool.connect(10)
                yield tool, host
