// SPDX-License-Identifier: MIT OR GPL-2.0
#include "traffic.h"

namespace model
{

namespace
{

class Writer
{
public:
    explicit Writer(unsigned polls) : polls_(polls) {}

    void lock(bool on) { locked_ = on; }
    void read(uint32_t reg) { list_.push_back({false, reg, locked_, std::nullopt}); }
    void write(uint32_t reg, std::optional<uint32_t> value = std::nullopt)
    {
        list_.push_back({true, reg, locked_, value});
    }
    void data(unsigned first, unsigned last, std::optional<uint32_t> value = std::nullopt)
    {
        for (unsigned n = first;; n = first < last ? n + 1 : n - 1) {
            write(0xBFB50210 + 4 * n, value);
            if (n == last)
                break;
        }
    }
    void readData(unsigned first, unsigned last)
    {
        for (unsigned n = first;; n = first < last ? n + 1 : n - 1) {
            read(0xBFB50210 + 4 * n);
            if (n == last)
                break;
        }
    }
    void command(uint32_t word)
    {
        write(0xBFB50204, word);
        for (unsigned n = 0; n < polls_; ++n)
            read(0xBFB50204);
    }
    void command(unsigned index, unsigned row, unsigned table, bool toTable)
    {
        command(65536 * index + 256 * row + 16 * table + (toTable ? 3 : 1));
    }
    void zero(unsigned index, unsigned table)
    {
        data(3, 0, 0);
        command(index, 0, table, true);
    }
    void rewrite(bool lut0)
    {
        lock(true);
        for (unsigned rule = 0; rule < 8 && lut0; ++rule) {
            data(0, 0, 0);
            command(rule, 10, 0, true);
            for (unsigned row = 0; row < 10; ++row) {
                data(0, 3);
                command(rule, row, 0, true);
            }
            data(0, 0);
            command(rule, 10, 0, true);
        }
        for (unsigned entry = 0; entry < 32; ++entry) {
            data(0, 1);
            command(entry, 0, 1, true);
        }
        lock(false);
    }
    std::vector<Access> take() { return std::move(list_); }

private:
    unsigned polls_;
    bool locked_ = false;
    std::vector<Access> list_;
};

} // namespace

std::vector<Access> accessesOf(const std::vector<Move> &moves, int revision, unsigned polls)
{
    Writer to(polls);
    for (const Move &move : moves) {
        switch (move.kind) {
        case Move::Rewrite:
            to.rewrite(revision != 14 && revision != 15);
            break;
        case Move::ReadAction:
        case Move::ShowAction:
            to.lock(move.kind == Move::ReadAction);
            to.command(move.n, 0, 2, false);
            to.readData(3, 0);
            break;
        case Move::WriteAction:
            to.lock(true);
            to.data(3, 0);
            to.command(move.n, 0, 2, true);
            break;
        case Move::ZeroAction:
            to.lock(true);
            to.zero(move.n, 2);
            break;
        case Move::ZeroActions:
        case Move::ZeroCounters:
            to.lock(true);
            for (unsigned n = 0; n < 40; ++n)
                to.zero(n, move.kind == Move::ZeroActions ? 2 : 3);
            break;
        case Move::ReadCounter:
            to.command(move.n, 0, 3, false);
            for (const unsigned n : {1u, 0u, 3u, 2u})
                to.readData(n, n);
            break;
        case Move::ReadRule:
            for (unsigned row = 0; row < 10; ++row) {
                to.command(move.n, row, 0, false);
                to.readData(0, 3);
            }
            to.command(move.n, 10, 0, false);
            to.readData(0, 0);
            break;
        case Move::ClearHead:
            to.data(0, 0, 0);
            to.command(move.n, 10, 0, true);
            break;
        case Move::ReadRegister:
            to.read(move.n);
            break;
        case Move::WriteRegister:
            to.write(move.n);
            break;
        case Move::Command:
            to.command(move.n);
            break;
        }
        to.lock(false);
    }
    return to.take();
}

} // namespace model
