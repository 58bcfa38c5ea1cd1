// SPDX-License-Identifier: MIT OR GPL-2.0
#include "host_platform.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>

namespace
{

// The saved interrupt state outside any interrupt. A caller must pass back the value that it received.
constexpr unsigned long kInterruptsOn = 0x60000013;

struct Host {
    host::LogSink sink;
    bool mute = false;
    host::EventWatch watch;
    host::Misuse misuse;
    engine::RegisterWindow *window = nullptr;
    int revision = 0;
    std::function<int()> revisionSource;
    unsigned queries = 0;
    unsigned long clock = 0;
    const spinlock_t *held = nullptr;
};

Host &self()
{
    static Host instance;
    return instance;
}

void tell(host::Event event)
{
    if (self().watch)
        self().watch(event);
}

void misuse(const char *what)
{
    if (self().misuse) {
        self().misuse(what);
        return;
    }
    std::fprintf(stderr, "spin lock: %s\n", what);
    std::abort();
}

engine::RegisterWindow &window()
{
    if (self().window == nullptr) {
        std::fprintf(stderr, "register access without an attached chip\n");
        std::abort();
    }
    return *self().window;
}

} // namespace

namespace host
{

void setLogSink(LogSink sink)
{
    self().sink = std::move(sink);
}

void muteLog(bool mute)
{
    self().mute = mute;
}

void attach(engine::RegisterWindow *window)
{
    self().window = window;
}

void setRevision(int revision)
{
    self().revision = revision;
    self().revisionSource = nullptr;
}

void setRevisionSource(std::function<int()> source)
{
    self().revisionSource = std::move(source);
}

unsigned revisionQueries()
{
    return self().queries;
}

unsigned long clockMilliseconds()
{
    return self().clock;
}

void setEventWatch(EventWatch watch)
{
    self().watch = std::move(watch);
}

bool lockHeld()
{
    return self().held != nullptr;
}

void setMisuseHandler(Misuse handler)
{
    self().misuse = std::move(handler);
}

void reset()
{
    self() = Host{};
}

} // namespace host

extern "C" {

uint32_t get_frame_engine_data(uint32_t reg)
{
    return window().read(reg);
}

void set_frame_engine_data(uint32_t reg, uint32_t value)
{
    window().write(reg, value);
}

int GET_HIR(void)
{
    ++self().queries;
    tell(host::Event::RevisionQuery);
    return self().revisionSource ? self().revisionSource() : self().revision;
}

int printk(const char *fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    va_list again;
    va_copy(again, args);
    const int length = std::vsnprintf(nullptr, 0, fmt, args);
    va_end(args);
    std::string text(static_cast<size_t>(length) + 1, '\0');
    (void)std::vsnprintf(text.data(), text.size(), fmt, again);
    va_end(again);
    text.pop_back();
    if (self().mute)
        return length;
    if (self().sink)
        self().sink(text);
    else
        std::fputs(text.c_str(), stderr);
    return length;
}

void mdelay(unsigned long msecs)
{
    self().clock += msecs;
    tell(host::Event::Delay);
}

unsigned long ifc_spin_lock_irqsave(spinlock_t *lock)
{
    if (lock->locked != 0)
        misuse("taken twice");
    lock->locked = 1;
    lock->flags = static_cast<uint32_t>(kInterruptsOn);
    self().held = lock;
    tell(host::Event::Lock);
    return kInterruptsOn;
}

void ifc_spin_unlock_irqrestore(spinlock_t *lock, unsigned long flags)
{
    if (lock->locked == 0)
        misuse("released, but nobody holds it");
    else if (self().held != lock)
        misuse("released, but another one is held");
    else if (flags != lock->flags)
        misuse("released with an interrupt state other than the saved one");
    lock->locked = 0;
    self().held = nullptr;
    tell(host::Event::Unlock);
}
}
