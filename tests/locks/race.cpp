// SPDX-License-Identifier: MIT OR GPL-2.0
// Operations from several threads, for the thread sanitizer. Usage: race CASE
//   serialised   every operation, callers serialise themselves
//   locked       operations whose register accesses all happen inside the lock, callers do not
//   shadow       two callers edit the shadow at the same time
//   registers    one caller reads counters, which takes no lock, while another one clears them
// The sanitizer must report nothing of the first two and a data race in each of the others.
#include "engine/register_window.h"
#include "ifc/ifc_util.h"
#include "tests/support/host/silent_services.h"

#include <atomic>
#include <cstdio>
#include <cstring>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace
{

// Plain memory: the sanitizer sees each access.
engine::RegisterWindow window;
std::atomic_flag spin = ATOMIC_FLAG_INIT;

orva_ifc_param requestOf(unsigned first)
{
    orva_ifc_param request = {};
    for (unsigned n = 0; n < 3; ++n) {
        request.fieldIdx[n] = 28 + n;
        request.mask_low[n] = 0xFFFF;
        request.key_low[n] = first + n;
    }
    return request;
}

void everything(unsigned thread)
{
    orva_ifc_param request = requestOf(100 * thread);
    unsigned long long bytes = 0;
    unsigned long long packets = 0;
    const int action = ifc_set_lut_rules_auto(&request);
    (void)ifc_set_action(static_cast<uint>(action), 14, IFC_ENABLE, 1, thread, 0, 0);
    (void)ifc_set_acnt(static_cast<uint>(action), thread);
    (void)ifc_get_acnt(static_cast<uint>(action), &bytes, &packets);
    (void)ifc_set_lut0_rules(thread, IFC_ENABLE, 22, 0, 0, 0xFFFF, 0, 0x0800);
    (void)ifc_dump_all_rules();
    (void)ifc_get_rule_from_reg(static_cast<int>(thread));
    (void)clear_ifc_rules(static_cast<int>(thread));
    ifc_delete_lut0(static_cast<int>(thread));
    (void)ifc_enable();
    (void)ifc_del_lut_rules_auto(&request);
    (void)ifc_disable();
}

void inThreads(const std::function<void(unsigned)> &body)
{
    std::atomic<unsigned> waiting{4};
    std::vector<std::thread> threads;
    for (unsigned n = 0; n < 4; ++n)
        threads.emplace_back([&, n] {
            for (--waiting; waiting != 0;)
                std::this_thread::yield();
            body(n);
        });
    for (std::thread &thread : threads)
        thread.join();
}

void serialised(unsigned thread)
{
    static std::mutex callers;
    for (unsigned n = 0; n < 20; ++n) {
        const std::lock_guard<std::mutex> guard(callers);
        everything(thread);
    }
}

void locked(unsigned thread)
{
    for (unsigned n = 0; n < 20; ++n) {
        (void)write_all_ifc_rule_to_hw();
        (void)ifc_set_action(thread, 14, IFC_ENABLE, 1, n, 0, 0);
        (void)ifc_clear_action(thread);
        (void)clear_all_ifc_actions();
        clear_all_ifc_acnt();
    }
}

void shadow(unsigned thread)
{
    for (unsigned n = 0; n < 20; ++n)
        (void)ifc_set_lut1_rules(thread % 2, IFC_ENABLE, 1, 28, 0, 0xFFFF, 0, n);
}

void registers(unsigned thread)
{
    unsigned long long bytes = 0;
    unsigned long long packets = 0;
    for (unsigned n = 0; n < 20; ++n)
        if (thread == 0)
            clear_all_ifc_acnt();
        else
            (void)ifc_get_acnt(n, &bytes, &packets);
}

struct Case {
    const char *name;
    void (*body)(unsigned);
};
constexpr Case kCases[] = {
    {"serialised", serialised}, {"locked", locked}, {"shadow", shadow}, {"registers", registers}};

} // namespace

extern "C" {

uint32_t get_frame_engine_data(uint32_t reg)
{
    return window.read(reg);
}

void set_frame_engine_data(uint32_t reg, uint32_t value)
{
    window.write(reg, value);
}

unsigned long ifc_spin_lock_irqsave(spinlock_t *)
{
    while (spin.test_and_set(std::memory_order_acquire))
        std::this_thread::yield();
    return 0;
}

void ifc_spin_unlock_irqrestore(spinlock_t *, unsigned long)
{
    spin.clear(std::memory_order_release);
}
}

int main(int argc, char **argv)
{
    for (const Case &each : kCases)
        if (argc == 2 && std::strcmp(argv[1], each.name) == 0) {
            window.powerOn({});
            inThreads(each.body);
            return 0;
        }
    std::fprintf(stderr, "usage: race serialised|locked|shadow|registers\n");
    return 2;
}
