"""What arrives, for `async for`."""

from __future__ import annotations

import asyncio
import collections
from typing import Callable, Generic, TypeVar

T = TypeVar("T")


class Overrun(Exception):
    """More has arrived than the program took; what came until then was delivered."""


class Stream(Generic[T]):
    """Keeps what arrives from the moment it is made until it is taken, `limit` of them at most: a
    program that falls behind further than that hears of it by Overrun and loses nothing unnoticed.
    Ends when it or its control is closed."""

    def __init__(self, limit: int, closed: Callable[[Stream[T]], object]) -> None:
        self._waiting: collections.deque[T] = collections.deque()
        self._limit = limit
        self._closed = closed
        self._open = True
        self._overrun = False
        self._waiter: asyncio.Future[None] | None = None

    def close(self) -> None:
        if self._open:
            self._open = False
            self._closed(self)
            self._wake()

    def put(self, item: T) -> None:
        if len(self._waiting) >= self._limit:
            self._overrun = True
            self.close()
            return
        self._waiting.append(item)
        self._wake()

    def __aiter__(self) -> Stream[T]:
        return self

    async def __anext__(self) -> T:
        while not self._waiting:
            if not self._open:
                if self._overrun:
                    raise Overrun(f"more than {self._limit} were waiting")
                raise StopAsyncIteration
            self._waiter = asyncio.get_running_loop().create_future()
            await self._waiter
        return self._waiting.popleft()

    def _wake(self) -> None:
        waiter, self._waiter = self._waiter, None
        if waiter is not None and not waiter.done():
            waiter.set_result(None)
