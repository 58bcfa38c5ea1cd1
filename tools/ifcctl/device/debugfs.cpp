// SPDX-License-Identifier: MIT OR GPL-2.0
// ifc.ko through its files under debugfs. Only one ifcctl runs at a time: the others wait for the lock on the
// file `command`.
#include "device.h"
#include "rule_batch.h"
#include "tools/ifcctl/core/errors.h"
#include "tools/ifcctl/core/frame_fields.h"
#include "tools/ifcctl/core/values.h"

#include "ifc/ifc_glb.h"
#include "ifc/ifc_regs.h"
#include "platform/host/host_platform.h"
#include "ruleset/edits.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace ifcctl
{

namespace
{

class File
{
public:
    File(const std::string &folder, const char *name, int flags)
        : path_(folder + '/' + name), descriptor_(::open(path_.c_str(), flags | O_CLOEXEC))
    {
    }
    ~File()
    {
        if (descriptor_ >= 0)
            ::close(descriptor_);
    }
    File(const File &) = delete;
    File &operator=(const File &) = delete;

    bool there() const { return descriptor_ >= 0; }
    int descriptor() const { return descriptor_; }
    const std::string &path() const { return path_; }

    Error failed() const { return {Reason::DeviceFailed, "device: " + path_ + ": " + std::strerror(errno)}; }
    // The whole file, from its start.
    std::string content() const
    {
        std::string all;
        for (;;) {
            char piece[4096];
            ssize_t got = pread(descriptor_, piece, sizeof piece, static_cast<off_t>(all.size()));
            if (got < 0 && errno == ESPIPE) // a file that can be read only once, from its start
                got = ::read(descriptor_, piece, sizeof piece);
            if (got < 0)
                throw failed();
            if (got == 0)
                return all;
            all.append(piece, static_cast<size_t>(got));
        }
    }
    void image(void *to, size_t size) const
    {
        if (pread(descriptor_, to, size, 0) != static_cast<ssize_t>(size))
            throw failed();
    }
    // Writes the line in one call. False: the module refuses it.
    bool take(const std::string &line) const
    {
        if (::write(descriptor_, line.data(), line.size()) == static_cast<ssize_t>(line.size()))
            return true;
        if (errno == EINVAL || errno == EBUSY)
            return false; // the reply says why
        if (errno == E2BIG)
            throw refused(Reason::LayerRefused, "device", path_,
                          "a line of " + std::to_string(line.size()) + " characters is too long");
        throw failed();
    }

private:
    std::string path_;
    int descriptor_;
};

class Debugfs : public Device
{
public:
    Debugfs(const std::string &folder, const Options &options)
        : folder_(folder), command_(folder, "command", O_RDWR), lut0_(folder, "lut0", O_RDONLY),
          lut1_(folder, "lut1", O_RDONLY), frame_(folder, "frame", O_RDWR)
    {
        for (const File *file : {&command_, &lut0_, &lut1_})
            if (!file->there())
                throw usage("--device", "debugfs:" + folder,
                            "the folder of a loaded ifc.ko (" + file->path() + ": " + std::strerror(errno) +
                                ")");
        if (flock(command_.descriptor(), LOCK_EX | LOCK_NB) != 0) {
            std::fputs("ifcctl: another ifcctl uses this device; waiting\n", stderr);
            if (flock(command_.descriptor(), LOCK_EX) != 0)
                throw command_.failed();
        }
        revision_ = static_cast<int>(statusValue("revision"));
        host::setRevision(revision_);
        if (options.debug != 0) {
            levelBefore_ = send("get dbgLevel").answer.substr(2);
            (void)send("set dbgLevel " + std::to_string(options.debug));
        }
        mirror();
    }

    ~Debugfs() override
    {
        try {
            if (!levelBefore_.empty())
                (void)send("set dbgLevel " + levelBefore_);
        } catch (const Error &error) {
            std::fprintf(stderr, "ifcctl: the debug level stays changed: %s\n",
                         printable(error.text()).c_str());
        }
    }

    Reply run(const std::string &line) override
    {
        Reply reply = send(line);
        mirror();
        copied_ = false;
        return reply;
    }

    void pause() override { (void)flock(command_.descriptor(), LOCK_UN); }

    void resume() override
    {
        while (flock(command_.descriptor(), LOCK_EX) != 0)
            if (errno != EINTR)
                throw command_.failed();
        mirror();
        copied_ = false;
    }

    engine::RegisterWindow &window() override
    {
        if (!copied_)
            copyHardware();
        return copy_;
    }

    engine::Result classify(engine::Classifier &classifier, const uint8_t *data, size_t length,
                            const engine::SideData &side, engine::ParsedFrame &parsed) override
    {
        // The device does not report the fields.
        engine::Result result = classifier.classify(data, length, side, parsed);
        if (!frame_.there())
            return result;
        std::string line = length == 0 ? "-" : formatFrameHex(data, length);
        line += ' ' + std::to_string(side.sourceInterface) + ' ' + std::to_string(side.gemPort) + '\n';
        const bool taken = frame_.take(line);
        const std::string reply = frame_.content();
        if (!taken || std::sscanf(reply.c_str(), "entry %d lut0 %x lut1 %x %x", &result.entry,
                                  &result.hits.lut0, &result.hits.lut1[0], &result.hits.lut1[1]) != 4)
            throw Error(Reason::DeviceFailed,
                        "device: " + frame_.path() + ": " + reply.substr(0, reply.find('\n')));
        return result;
    }

    // The library reads through the registers of this process: those of the copy. Before that the module
    // completes an undo that has failed, if there is one, so that the copy has the right actions.
    void readRules(ifc_ruleset &set) override
    {
        const File file(folder_, "ruleset", O_RDWR);
        if (file.there()) {
            ifc_ruleset_report report{};
            if (send(file, {}, IFC_RULESET_PLAN_ONLY, report) == IFC_RULESET_TIMEOUT)
                throw timedOut();
            copied_ = copied_ && report.undo == IFC_RULESET_UNDO_NONE;
        }
        host::attach(&window());
        const int result = ifc_ruleset_read(&set, nullptr);
        host::attach(nullptr);
        if (result != IFC_RULESET_OK)
            throw timedOut(" (the hardware could not be read; nothing was changed)");
    }

    int applyRules(ifc_ruleset &set, const RuleEdits &edits, unsigned flags,
                   ifc_ruleset_report &report) override
    {
        const File file(folder_, "ruleset", O_RDWR);
        if (!file.there())
            throw refused(
                Reason::NoSetOperations, "device", folder_,
                "this module does not take sets of rules; 'rule add auto' and 'op' place them one by one");
        (void)send(file, edits, flags, report);
        if (report.result != IFC_RULESET_OK || (flags & IFC_RULESET_PLAN_ONLY) != 0)
            return report.result;
        // The same on the copy, so that the set has its places.
        host::attach(&window());
        ifc_ruleset_report own{};
        (void)ifc_ruleset_apply(&set, flags, &own);
        host::attach(nullptr);
        const uint32_t expected = ifc_ruleset_checksum(IFC_LUT0_Rule, IFC_LUT1_Rule);
        mirror();
        copied_ = false;
        if (own.result != IFC_RULESET_OK || ifc_ruleset_checksum(IFC_LUT0_Rule, IFC_LUT1_Rule) != expected)
            throw Error(Reason::DeviceFailed,
                        "device: the rules were applied, but their places are not those that were planned");
        return report.result;
    }

    int revision() const override { return revision_; }

    uint32_t globalConfig() override
    {
        const File regs(folder_, "regs", O_RDONLY);
        if (!regs.there())
            throw regs.failed();
        return registerIn(regs.content(), IFC_GLB_CFG);
    }

    unsigned long timeouts() override { return statusValue("timeouts"); }

private:
    // A number from the file `status`, which has it as NAME=NUMBER.
    unsigned long statusValue(const std::string &name) const
    {
        const File status(folder_, "status", O_RDONLY);
        if (!status.there())
            throw status.failed();
        std::istringstream text(status.content());
        for (std::string word; text >> word;)
            if (word.rfind(name + '=', 0) == 0)
                return std::strtoul(word.c_str() + name.size() + 1, nullptr, 10);
        throw Error(Reason::DeviceFailed,
                    "device: " + status.path() + ": no '" + name + "=': the module is of another version");
    }

    // A register's value in the file `regs`: a line a register, address and value in hexadecimal; 0 if it is
    // not there.
    static uint32_t registerIn(const std::string &list, uint32_t reg)
    {
        std::istringstream lines(list);
        lines >> std::hex;
        for (uint32_t address = 0, value = 0; lines >> address >> value;)
            if (address == reg)
                return value;
        return 0;
    }

    // One write to the module's file `ruleset`. Returns the result in the report.
    static int send(const File &file, const RuleEdits &edits, unsigned flags, ifc_ruleset_report &report)
    {
        const bool taken = file.take(ruleBatch(edits, flags));
        const std::string text = file.content();
        if (!taken || !readReport(text, report))
            throw Error(Reason::DeviceFailed,
                        "device: " + file.path() + ": " + text.substr(0, text.find('\n')));
        return report.result;
    }

    Reply send(const std::string &line)
    {
        Reply reply{};
        reply.refused = !command_.take(line + '\n');
        const std::string all = command_.content();
        // A result begins with "= ", which begins no line that the layer prints. Without one (help, a
        // refusal) nothing was printed.
        const size_t end = all.rfind("\n= ");
        const size_t start = end == std::string::npos ? 0 : end + 1;
        reply.answer = all.substr(start);
        reply.printed = all.substr(0, start);
        return reply;
    }

    // Copies everything that listings and plans in this process read.
    void mirror()
    {
        lut0_.image(IFC_LUT0_Rule, sizeof IFC_LUT0_Rule);
        lut1_.image(IFC_LUT1_Rule, sizeof IFC_LUT1_Rule);
        const File sendToPpe(folder_, "send_to_ppe", O_RDONLY);
        if (!sendToPpe.there())
            throw sendToPpe.failed();
        ifcSendToPpe = static_cast<uint32_t>(std::strtoul(sendToPpe.content().c_str(), nullptr, 0));
    }

    // Reads every row of the hardware and writes it into a window of this process through its registers.
    void copyHardware()
    {
        copy_.powerOn({1, false});
        const File regs(folder_, "regs", O_RDONLY);
        if (!regs.there())
            throw regs.failed();
        const std::string list = regs.content();
        for (const uint32_t reg : {FE_TPID_CFG, IFC_GLB_CFG})
            copy_.write(reg, registerIn(list, reg));
        for (unsigned rule = 0; rule < IFC_LUT0_RULES; ++rule)
            for (unsigned row = 0; row <= IFC_LUT0_HEAD_ROW; ++row)
                copyRow(IFC_SEL_LUT0, rule, row);
        for (unsigned entry = 0; entry < IFC_LUT1_RULES; ++entry)
            copyRow(IFC_SEL_LUT1, entry, 0);
        for (unsigned entry = 0; entry < IFC_ACTIONS; ++entry)
            copyRow(IFC_SEL_ACTION, entry, 0);
        copied_ = true;
    }

    void copyRow(unsigned sel, unsigned index, unsigned offset)
    {
        const std::string answer = send("get row " + std::to_string(sel) + ' ' + std::to_string(index) + ' ' +
                                        std::to_string(offset))
                                       .answer;
        unsigned data[IFC_ROW_WORDS];
        if (std::sscanf(answer.c_str(), "= %x %x %x %x", &data[0], &data[1], &data[2], &data[3]) != 4)
            throw timedOut(" (the hardware could not be read; nothing was changed)");
        for (unsigned n = 0; n < IFC_ROW_WORDS; ++n)
            copy_.write(IFC_DATA0 + 4 * n, data[n]);
        copy_.write(IFC_RULE_CFG, ifc_rule_cfg_word(index, offset, sel, IFC_TYPE_WRITE));
    }

    std::string folder_;
    File command_;
    File lut0_;
    File lut1_;
    File frame_; // not there when the module drives real hardware
    int revision_ = 0;
    std::string levelBefore_;
    engine::RegisterWindow copy_;
    bool copied_ = false;
};

} // namespace

std::unique_ptr<Device> openDebugfs(const std::string &folder, const Options &options)
{
    return std::make_unique<Debugfs>(folder, options);
}

} // namespace ifcctl
