"""Shares the blocks of a piece of work out over threads.

A result never depends on how many there are: blocks are cut in the same places for any number of threads.
"""

from __future__ import annotations

import os
import threading
from concurrent.futures import Future, ThreadPoolExecutor
from typing import Any, Callable, List, Optional, Tuple, TypeVar, Union

from ._native import raw
from .errors import VekrError, check

T = TypeVar("T")
Progress = Union[None, bool, Callable[[int, int], Any]]

LEAST_VOXELS = 1 << 15  # a block of fewer costs less than handing it to another thread

_pool: Optional[ThreadPoolExecutor] = None
_pool_size = 0
_pool_lock = threading.Lock()


def get_threads() -> int:
    """Return how many threads a call may use: the number of processors, or what :func:`set_threads` has set.

    Examples
    --------
    >>> import vekr
    >>> vekr.get_threads() >= 1
    True
    """
    return int(raw.ownGetNumThreads())


def set_threads(count: int) -> None:
    """Set how many threads a call may use, for the whole process; 0 goes back to the number of processors.

    Parameters
    ----------
    count : int
        0 or more. No result depends on it.

    Examples
    --------
    >>> import vekr
    >>> vekr.set_threads(1)
    >>> vekr.get_threads()
    1
    >>> vekr.set_threads(0)
    """
    count = int(count)
    if not 0 <= count < 2**31:
        raise ValueError(f"a number of threads is 0 or more, not {count}")
    raw.vekSetNumThreads(count)


def thread_count(threads: Optional[int], shape: Optional[Tuple[int, ...]] = None) -> int:
    """Return the number that a ``threads=`` argument means; for a volume so small that it is one block, 1 if that is None."""
    if threads is None:
        if shape is not None and shape[0] * shape[1] * shape[2] <= LEAST_VOXELS:
            return 1
        return get_threads()
    count = int(threads)
    if count < 1:
        raise ValueError(f"threads must be at least 1, not {threads}")
    return count


def _forget_pool() -> None:
    """Leave the threads of a process behind that a fork did not copy."""
    global _pool, _pool_lock
    _pool = None
    _pool_lock = threading.Lock()


os.register_at_fork(after_in_child=_forget_pool)


def _helpers(count: int) -> ThreadPoolExecutor:
    """Return a pool with at least `count` threads; one that has become too small is left to end by itself."""
    global _pool, _pool_size
    with _pool_lock:
        if _pool is None or _pool_size < count:
            _pool = ThreadPoolExecutor(max_workers=count, thread_name_prefix="vekr")
            _pool_size = count
        return _pool


class _Blocks:
    """Hands out the numbers of blocks until they are used up or somebody has failed."""

    def __init__(self, work: Callable[[int], int], count: int) -> None:
        self.work, self.count = work, count
        self.statuses = [0] * count
        self.lock = threading.Lock()
        self.next = 0
        self.done = 0
        self.is_stopped = False

    def step(self) -> bool:
        """Do one block; whether there was one."""
        with self.lock:
            if self.is_stopped or self.next >= self.count:
                return False
            block = self.next
            self.next += 1
        status = self.work(block)
        with self.lock:
            self.statuses[block] = status
            self.done += 1
            if status < 0:
                self.is_stopped = True
        return True

    def help(self) -> None:
        """Do blocks on a thread of the pool."""
        try:
            while self.step():
                pass
        except BaseException:
            self.is_stopped = True
            raise


def _show(progress: Progress) -> "tuple[Optional[Callable[[int, int], Any]], Callable[[], None]]":
    """Return the callback that a ``progress=`` argument means, and what to do at the end."""
    if progress is None or progress is False:
        return None, lambda: None
    if progress is not True:
        if not callable(progress):
            raise TypeError("progress must be a callable that takes (done, total), or True")
        return progress, lambda: None
    try:
        from tqdm.auto import tqdm
    except ImportError:
        return None, lambda: None
    bar = tqdm(unit="block")

    def update(done: int, total: int) -> None:
        bar.total = total
        bar.update(done - bar.n)

    return update, bar.close


def run_blocks(work: Callable[[int], int], count: int, threads: int, progress: Progress = None) -> List[int]:
    """Call ``work(block)`` for all blocks, which returns a status, and return the statuses.

    The calling thread works too, and it alone calls `progress`. If it is interrupted, or a block or the callback fails,
    no further block is begun, those under way are finished, and the exception goes on.
    """
    if count == 1 and progress is None:
        return [work(0)]
    if threads == 1 and progress is None:
        statuses = []
        for block in range(count):
            statuses.append(work(block))
            if statuses[-1] < 0:
                break
        return statuses
    show, close = _show(progress)
    blocks = _Blocks(work, count)
    helpers = min(threads, count) - 1
    futures: List["Future[None]"] = []
    try:
        if helpers > 0:
            pool = _helpers(helpers)
            futures = [pool.submit(blocks.help) for _ in range(helpers)]
        shown = 0
        while blocks.step():
            if show is not None and blocks.done > shown:
                shown = blocks.done
                show(shown, count)
        for future in futures:
            if not future.cancel():
                future.result()
        if show is not None and shown < blocks.done:
            show(blocks.done, count)
    except BaseException:
        blocks.is_stopped = True
        _finish(futures)
        raise
    finally:
        close()
    return blocks.statuses


def _finish(futures: "List[Future[None]]") -> None:
    """Wait until no helper writes any more, also through further interrupts."""
    for future in futures:
        while not future.cancel() and not future.done():
            try:
                future.exception(timeout=1)
            except BaseException:  # a timeout, another interrupt: the block's memory is still being written
                pass


def complete(work: Callable[[int], int], count: int, threads: int, progress: Progress, function: str, stacklevel: int = 4) -> None:
    """Do all blocks, and raise or warn as :func:`settle` does."""
    if count == 1 and progress is None:
        status = work(0)
        if status:
            settle([status], function, stacklevel + 1)
    else:
        settle(run_blocks(work, count, threads, progress), function, stacklevel + 1)


def settle(statuses: List[int], function: str, stacklevel: int = 3) -> None:
    """Raise the first error among the statuses of a call's blocks; warn if all of them did less than asked."""
    worst = min(statuses)
    if worst < 0:
        raise VekrError(worst, function)
    if worst > 0:
        check(worst, function, stacklevel)


def on_fresh_thread(work: Callable[[], T]) -> T:
    """Call something on a thread of its own.

    The tree builder and the triangle normals fork OpenMP threads, which stay with the thread that has forked them and are
    not there any more in a forked process. A thread that ends after the call takes them along.
    """
    result: List[T] = []
    failure: List[BaseException] = []

    def run() -> None:
        try:
            result.append(work())
        except BaseException as problem:
            failure.append(problem)

    thread = threading.Thread(target=run, name="vekr-call")
    thread.start()
    thread.join()
    if failure:
        raise failure[0]
    return result[0]
