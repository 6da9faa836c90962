# What gdb knows of the library: how its containers, strings, holders and messages look, and "utl threads". gdb loads it
# with the library, by whose full name it is installed; otherwise:  (gdb) source libutl-gdb.py
import re
import struct
import time

import gdb
import gdb.printing


def for_terminal(text):
    """What the terminal has no sign for is written as a number."""
    charset = gdb.host_charset() if hasattr(gdb, "host_charset") else "ascii"
    return text.encode(charset, "backslashreplace").decode(charset)


# ---------------------------------------------------------------------------------------------- values


def elements(data, indices):
    for number, index in enumerate(indices):
        yield f"[{number}]", data[index]


class ArrayPrinter:
    def __init__(self, value):
        self.value = value

    def to_string(self):
        return f"{int(self.value['mSize'])} of {int(self.value['mMaxSize'])}"

    def children(self):
        return elements(self.value["mpData"], range(int(self.value["mSize"])))

    def display_hint(self):
        return "array"


class RingPrinter:
    def __init__(self, value):
        self.value = value

    def to_string(self):
        return f"{int(self.value['mCount'])} of {int(self.value['mMaxCount'])}"

    def children(self):
        head, room = int(self.value["mHead"]), int(self.value["mMaxCount"])
        return elements(self.value["mpData"], ((head + i) % room for i in range(int(self.value["mCount"]))))

    def display_hint(self):
        return "array"


class QueuePrinter(RingPrinter):
    def __init__(self, value):
        super().__init__(value["mRing"])


class MapPrinter:
    def __init__(self, value):
        self.array = value["mArray"]

    def to_string(self):
        return ArrayPrinter(self.array).to_string()

    def children(self):
        for index in range(int(self.array["mSize"])):
            pair = self.array["mpData"][index]
            yield f"k{index}", pair["mKey"]
            yield f"v{index}", pair["mValue"]

    def display_hint(self):
        return "map"


class PairPrinter:
    def __init__(self, value):
        self.value = value

    def to_string(self):
        return f"{self.value['mKey']} -> {self.value['mValue']}"


class StringPrinter:
    def __init__(self, value):
        self.value = value

    def to_string(self):
        return self.value["mpData"].lazy_string("utf-8")  # gdb writes as octal what the terminal has no sign for

    def display_hint(self):
        return "string"


def shares(value):
    counter = value["mpRefCounter"]
    return f", {int(counter['mCounter'])} shares" if int(counter) != 0 else ""


class PointerPrinter:
    def __init__(self, value):
        self.value = value

    def to_string(self):
        target = self.value["mpObject"]
        return "empty" if int(target) == 0 else f"{target.dereference()} at {int(target):#x}{shares(self.value)}"


class HandlePrinter:
    def __init__(self, value):
        self.value = value

    def to_string(self):
        return f"{self.value['mHandle']}{shares(self.value)}"


RESERVED = {0x80000000: "none", 0x80000001: "any", 0x80000002: "timer"}


def message_name(number):
    number &= 0xFFFFFFFF
    return f"{number:#010x}" + (f" ({RESERVED[number]})" if number in RESERVED else "")


class MsgPrinter:
    """What a subclass adds is shown as it is."""

    def __init__(self, value):
        self.value = value

    def to_string(self):
        return "message " + message_name(int(self.value["mMsgId"]))

    def children(self):
        for field in self.value.type.fields():
            if not field.name.startswith("_vptr") and field.name not in ("mMsgId", "utl::Msg"):
                yield field.name, self.value[field]


class RawMsgPrinter:
    def __init__(self, value):
        self.value = value

    def to_string(self):
        buffer, size = self.value["mpBuffer"], int(self.value["mMaxSize"])
        if int(buffer) == 0:
            return "no image"
        image = bytes(gdb.selected_inferior().read_memory(int(buffer), size))
        number = struct.unpack(order() + "i", image[:4])[0]
        return f"message {message_name(number)}, {image[4:36].hex(' ')}{' ...' if size > 36 else ''}"


def printers():
    collection = gdb.printing.RegexpCollectionPrettyPrinter("utl")
    for name, pattern, printer in [
            ("Array", r"^utl::Array<.*>$", ArrayPrinter),
            ("RingArray", r"^utl::RingArray<.*>$", RingPrinter),
            ("Queue", r"^utl::Queue<.*>$", QueuePrinter),
            ("Map", r"^utl::Map<.*>$", MapPrinter),
            ("Pair", r"^utl::Pair<.*>$", PairPrinter),
            ("BasicString", r"^utl::BasicString<char>$", StringPrinter),
            ("pointers", r"^utl::(SmartPointer|CountingPointer)<.*>$", PointerPrinter),
            ("handles", r"^utl::(SmartHandle|Counting)<.*>$", HandlePrinter),
            ("messages", r"^utl::(Msg|SimpleMsg|TimerMsg)$", MsgPrinter),
            ("ThreadRawMsg", r"^utl::ThreadRawMsg$", RawMsgPrinter)]:
        collection.add_printer(name, pattern, printer)
    return collection


# ---------------------------------------------------------------------------------------------- threads


def order():
    return ">" if "big" in gdb.execute("show endian", to_string=True) else "<"


MAGIC = b"utl thread slot\0"
STAGES = ["starting", "running", "stopping", "done"]
WAITS = ["", ", synchronous message ", ", interrupt ", ", a request to it", ", its end", ", a lock that it holds"]
LIMITED = 16
ONE_SECOND = 10**9 >> 20
BOOKS = ["accepted ", ", delivered ", ", erased ", ", taken back ", ", waiting ", ", most ", "; refused full ",
         ", too large ", ", stopped ", "; orphaned ", ", interrupts ", ", time-outs ", ", lost ", "; calls "]


class Memory:
    """Of the process or the core file, in words of its own size."""

    def __init__(self, word):
        self.word = word
        self.order = order()

    def numbers(self, address, count, size):
        data = bytes(gdb.selected_inferior().read_memory(address, count * size))
        return struct.unpack(f"{self.order}{count}{'Q' if size == 8 else 'I'}", data)

    def words(self, address, count):
        return self.numbers(address, count, self.word)

    def text(self, address):
        return gdb.Value(address).cast(gdb.lookup_type("char").pointer()).string("utf-8", "replace") if address else ""

    def owner(self, mutex):
        """Of a mutex of glibc: its third number."""
        return self.numbers(mutex + 8, 1, 4)[0]

    def copies(self, address, count):
        """The newer of two copies; address is that of their generation."""
        newer = self.numbers(address, 1, 4)[0] & 1
        return self.words(address + self.word * (1 + newer * count), count)


def find_table():
    try:
        return int(gdb.parse_and_eval("(unsigned long)&utlThreadSlots"))
    except gdb.error:
        pass  # linked into a program that is stripped
    for line in gdb.execute("info files", to_string=True).splitlines():
        found = re.match(r"\s*(0x[0-9a-f]+) - (0x[0-9a-f]+) is \.(?:data|rodata)\S*(?: in .*)?$", line)
        if found:
            start, end = (int(number, 16) for number in found.groups())
            address = gdb.selected_inferior().search_memory(start, end - start, MAGIC)
            if address is not None:
                return int(address)
    raise gdb.GdbError("no thread slots: does the program use the library, and does it run?")


VERSION = 2


class Slot:
    """One thread, as internal::ThreadSlot of table version 2 lies in memory."""

    NAME_SIZE = 32

    def __init__(self, memory, address):
        word = memory.word
        claim, stage = memory.numbers(address, 2, 4)
        self.is_used = claim & 3 == 2
        if not self.is_used:
            return
        at = (12 + word - 1) // word * word
        self.loop = memory.words(address + at, 1)[0]
        at += word
        parts = []
        for count in (2 + self.NAME_SIZE // word, 4, 3, 4):
            parts.append(memory.copies(address + at, count))
            at += word * (1 + 2 * count)
        identity, self.report, self.work, self.wait = parts
        self.number, self.is_registered, self.stage = identity[0], identity[1] != 0, stage & 3
        packed = struct.pack(f"{memory.order}{len(identity) - 2}{'Q' if word == 8 else 'I'}", *identity[2:])
        self.name = packed.split(b"\0")[0].decode("utf-8", "replace")
        self.waits_for = self.wait[1] if self.wait[0] != 0 else 0
        if self.wait[0] == 5:  # a mutex
            self.waits_for = memory.owner(self.wait[1])
            if self.waits_for == self.number:  # it has the lock by now
                self.waits_for, self.wait = 0, (0, 0, 0, 0)
        self.memory = memory

    def books(self):
        word = self.memory.word
        queue, loop, calls = self.memory.words(self.loop + 7 * word, 3)
        numbers = self.memory.numbers
        return numbers(queue, 6, 4) + numbers(loop, 7, 4) + numbers(calls, 3, 4)

    def owner_of_queue(self):
        return self.memory.owner(self.memory.words(self.loop + 10 * self.memory.word, 1)[0])

    def timers(self):
        return self.memory.copies(self.loop, 3)

    def timer_rows(self):
        word = self.memory.word
        first = self.memory.words(self.loop + 11 * word, 1)[0]
        rows = (self.memory.copies(first + 11 * row * word, 5) for row in range(8 if first != 0 else 0))
        return [row for row in rows if row[0] != 0]

    def stamps(self):
        """When something began, by the clock of the slots."""
        return ([self.work[2]] if self.work[0] else []) + ([self.wait[3]] if self.wait[0] else [])


def slot_clock(slots):
    """Of a process here the clock; otherwise the newest stamp that there is. Units of 2^20 ns, modulo 2^32."""
    connection = getattr(gdb.selected_inferior(), "connection", None)
    if connection is not None and connection.type == "native":
        return (time.clock_gettime_ns(time.CLOCK_MONOTONIC) >> 20) & 0xFFFFFFFF
    return max((stamp for slot in slots for stamp in slot.stamps()), default=0)


def milliseconds(units):
    return f"{((units & 0xFFFFFFFF) << 20) // 1000000} ms"


class Threads:
    def __init__(self):
        address = find_table()
        memory = Memory(4)
        magic = bytes(gdb.selected_inferior().read_memory(address, 16))
        version, word, size, count = memory.numbers(address + 16, 4, 4)
        if magic != MAGIC or version != VERSION:
            raise gdb.GdbError(f"thread slots of version {version}: take the script that came with the library")
        memory = Memory(word)
        first, locks, lock_count = memory.words(address + 32, 3)
        every = [Slot(memory, first + index * size) for index in range(count)]
        self.slots = [slot for slot in every if slot.is_used]
        self.now = slot_clock(self.slots)
        self.by_number = {slot.number: slot for slot in self.slots}
        named = (memory.words(locks + index * 2 * word, 2) for index in range(lock_count))
        self.held = [(memory.owner(mutex), memory.text(name)) for name, mutex in named if mutex != 0]
        self.held += [(slot.owner_of_queue(), "the queue of " + self.title(slot.number))
                      for slot in self.slots if slot.loop != 0]

    def title(self, number):
        slot = self.by_number.get(number)
        return f'{number} "{slot.name if slot else ""}"'

    def doing(self, slot):
        pid = gdb.selected_inferior().pid
        text = STAGES[slot.stage] if slot.is_registered else \
            "the main thread" if slot.number == pid else "not registered"
        if slot.work[0] != 0:
            number = slot.work[1] & 0xFFFFFFFF
            text += f", message {number:#010x}" if slot.work[0] == 1 else f", time-out of timer {number}"
            text += f" for {milliseconds(self.now - slot.work[2])}" if slot.work[2] else ""
        if slot.report[1] != 0:
            texts = [slot.memory.text(address) for address in slot.report[:2]]
            text += f", last report {texts[0]} {texts[1]}:{slot.report[2]}:{slot.report[3]}"
        return text

    def loop(self, slot):
        books = slot.books()
        text = "".join(f"{name}{number}" for name, number in zip(BOOKS, books))
        text += f", the longest {milliseconds(books[14])} for {books[15]:#010x}" if books[14] else ""
        yield text
        timers = slot.timers()
        if timers[0] != 0:
            yield f"timers {timers[0]}, {timers[1]} running{', next ' + self.due(timers[2]) if timers[1] else ''}"
        for number, period, due, count, most in slot.timer_rows():
            yield f"timer {number} every {period} ms, {self.due(due)}, time-outs {count}{f' of {most}' if most else ''}"

    def due(self, when):
        left = (when - self.now + 2**31) % 2**32 - 2**31
        return f"{'due in' if left >= 0 else 'overdue for'} {milliseconds(abs(left))}"

    def waiting(self, slot):
        kind = slot.wait[0] % LIMITED
        whom = self.title(slot.waits_for) if slot.waits_for else "a lock"
        text = f"waits for {whom} for {milliseconds(self.now - slot.wait[3])}"
        text += WAITS[kind] if slot.waits_for else ""
        text += f"{slot.wait[2] & 0xFFFFFFFF:#010x}" if kind in (1, 2) else ""
        return text + (", with a limit" if slot.wait[0] >= LIMITED else "")

    def circles(self):
        told = set()
        for slot in self.slots:
            way, number = [], slot.number
            while number in self.by_number and number not in way:
                way.append(number)
                number = 0 if self.by_number[number].wait[0] >= LIMITED else self.by_number[number].waits_for
            if way and number == way[0] and not told & set(way):
                told |= set(way)
                is_old = all((self.now - self.by_number[one].wait[3]) & 0xFFFFFFFF >= ONE_SECOND for one in way)
                yield ("deadlock: " if is_old else "circle: ") + " waits for ".join(self.title(one) for one in way + way[:1])

    def lines(self):
        known = {thread.ptid[1] or thread.ptid[0]: thread.num for thread in gdb.selected_inferior().threads()}
        for slot in self.slots:
            title = f"{known.get(slot.number, '-'):>4}  thread {self.title(slot.number)}: "
            yield title + self.doing(slot)
            if slot.loop != 0:
                yield from (title + line for line in self.loop(slot))
            if slot.wait[0] != 0:
                yield title + self.waiting(slot)
        for number, lock in self.held:
            if number != 0:
                yield f"{known.get(number, '-'):>4}  thread {self.title(number)}: holds {lock}"
        yield from self.circles()
        yield f"{len(self.slots)} threads; the number ahead is gdb's"


class UtlCommand(gdb.Command):
    """Looks at the library's inside: "utl threads"."""

    def __init__(self):
        super().__init__("utl", gdb.COMMAND_STATUS, prefix=True)


class UtlThreadsCommand(gdb.Command):
    """utl threads: what each thread does, whom it waits for, the books of its loop, and who waits in a circle.
Of a live process or a core file, also where program and library are stripped. Times of a core file are those until the
last thing that happened in it."""

    def __init__(self):
        super().__init__("utl threads", gdb.COMMAND_STATUS)

    def invoke(self, argument, from_tty):
        for line in Threads().lines():
            gdb.write(for_terminal(line) + "\n")


gdb.printing.register_pretty_printer(gdb.current_objfile(), printers(), replace=True)
UtlCommand()
UtlThreadsCommand()
