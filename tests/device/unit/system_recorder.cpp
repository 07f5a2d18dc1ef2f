#include "tests/device/unit/system_recorder.h"

#include <errno.h>
#include <fcntl.h>
#include <linux/i2c-dev.h>
#include <linux/i2c.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <sys/select.h>
#include <sys/stat.h>
#include <termios.h>

#include <algorithm>

namespace test {

namespace {

SystemRecorder* current = nullptr;

std::string Format(const char* format, ...) {
    char text[512] = "";
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(text, sizeof(text), format, arguments);
    va_end(arguments);
    return text;
}

std::string Hex(const void* bytes, std::size_t count) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i)
        text += Format(" %02x", static_cast<const unsigned char*>(bytes)[i]);
    return text;
}

bool IsNode(const std::string& path) {
    return path.compare(0, 5, "/dev/") == 0;
}

}  // namespace

SystemRecorder::SystemRecorder() : outer_(current) {
    current = this;
}

SystemRecorder::~SystemRecorder() {
    current = outer_;
}

void SystemRecorder::Fail(const std::string& prefix, int error, int skip, int times) {
    rules_.push_back({prefix, true, error, skip, times});
}

void SystemRecorder::Return(const std::string& prefix, long value, int times) {
    rules_.push_back({prefix, false, value, 0, times});
}

bool SystemRecorder::Record(const std::string& line, long& result) {
    Note(line);
    return Answer(line, result);
}

bool SystemRecorder::Answer(const std::string& line, long& result) {
    for (Rule& rule : rules_) {
        if (line.compare(0, rule.prefix.size(), rule.prefix) != 0)
            continue;
        if (rule.skip-- > 0 || rule.times-- <= 0)
            continue;
        if (rule.fails)
            errno = static_cast<int>(rule.value);
        result = rule.fails ? -1 : rule.value;
        return true;
    }
    return false;
}

std::string SystemRecorder::Trace(const std::string& prefix) const {
    std::string chosen;
    for (std::size_t start = 0; start < trace_.size();) {
        const std::size_t end = trace_.find('\n', start) + 1;
        if (trace_.compare(start, prefix.size(), prefix) == 0)
            chosen += trace_.substr(start, end - start);
        start = end;
    }
    return chosen;
}

std::vector<std::string> SystemRecorder::OpenNames() const {
    std::vector<std::string> names;
    for (const auto& entry : open_)
        names.push_back(entry.second.name);
    return names;
}

int SystemRecorder::OpenNode(const std::string& path) {
    const int fd = nextFd_++;
    open_[fd] = {path, path.substr(path.rfind('/') + 1), 0};
    return fd;
}

// What the wrapped calls do for descriptors and paths of the recorder.
struct RecordedCalls {
    static SystemRecorder::OpenFile* Find(int fd) {
        if (current == nullptr)
            return nullptr;
        const auto found = current->open_.find(fd);
        return found == current->open_.end() ? nullptr : &found->second;
    }

    static bool Takes(const char* path) {
        return current != nullptr && path != nullptr && (IsNode(path) || current->files.count(path) != 0);
    }

    static bool Record(const std::string& line, long& result) { return current->Record(line, result); }

    static bool MemoryIsShort(const char* call) {
        long result = 0;
        return current != nullptr && current->Answer(call, result);
    }

    static int Open(const char* path, int flags) {
        const int access = flags & O_ACCMODE;
        const char* name = access == O_RDWR ? "rw" : access == O_WRONLY ? "w" : "r";
        const char* terminal = (flags & O_NOCTTY) != 0 ? " noctty" : "";
        long result = 0;
        if (Record(Format("open %s %s%s", path, name, terminal), result))
            return static_cast<int>(result);
        return current->OpenNode(path);
    }

    static int Close(int fd) {
        current->Note("close " + Find(fd)->name);
        current->open_.erase(fd);
        return 0;
    }

    static long Read(SystemRecorder::OpenFile& file, void* buffer, std::size_t size) {
        long result = 0;
        if (Record(Format("read %s %zu", file.name.c_str(), size), result))
            return result;
        std::string bytes;
        if (file.name == "optic0") {
            bytes = current->optic.substr(std::min(file.offset, current->optic.size()), size);
        } else if (file.name == "ttyS0") {
            if (!current->replies.empty()) {
                bytes = current->replies.front().substr(0, size);
                current->replies.pop_front();
            }
        } else {
            const std::string& content = current->files[file.path];
            bytes = content.substr(std::min(file.offset, content.size()), size);
        }
        memcpy(buffer, bytes.data(), bytes.size());
        file.offset += bytes.size();
        return static_cast<long>(bytes.size());
    }

    static long Write(SystemRecorder::OpenFile& file, const void* buffer, std::size_t size) {
        long result = 0;
        const bool frame = file.name == "ttyS0";
        const std::string what = frame ? Hex(buffer, size) : Format(" %zu", size);
        if (Record("write " + file.name + what, result))
            return result;
        const std::string bytes(static_cast<const char*>(buffer), size);
        if (file.name == "fpga0")
            current->fpga += bytes;
        if (file.name == "optic0")
            current->optic = bytes;
        return static_cast<long>(size);
    }

    static int OpticIoctl(unsigned long request, void* argument) {
        long result = 0;
        if (request == 0xc004f003ul) {
            if (Record("temperature", result))
                return static_cast<int>(result);
            memcpy(argument, &current->milliDegrees, 4);
            return 0;
        }
        if (request == 0xc004f002ul) {
            struct {
                std::int32_t count;
                std::uint16_t* samples;
            } wanted;
            memcpy(&wanted, argument, sizeof(wanted));
            if (Record(Format("data %d", wanted.count), result))
                return static_cast<int>(result);
            for (int i = 0; i < wanted.count && i < static_cast<int>(current->samples.size()); ++i)
                wanted.samples[i] = current->samples[static_cast<std::size_t>(i)];
            return 0;
        }
        std::uint16_t words[2];
        memcpy(words, argument, sizeof(words));
        const unsigned address = 0x30000000u + 2u * words[0];
        if (request == 0xc004f000ul) {
            if (Record(Format("reg read 0x%08x", address), result))
                return static_cast<int>(result);
            const auto fixed = current->fixed.find(words[0]);
            words[1] = fixed != current->fixed.end() ? fixed->second : current->registers[words[0]];
        } else if (request == 0xc004f001ul) {
            if (Record(Format("reg write 0x%08x 0x%04x", address, words[1]), result))
                return static_cast<int>(result);
            current->registers[words[0]] = words[1];
            const auto echoed = current->echo.find(words[0]);
            words[1] = echoed != current->echo.end()
                           ? echoed->second
                           : static_cast<std::uint16_t>(words[1] & current->echoMask);
        } else {
            current->Note(Format("ioctl optic0 0x%lx", request));
            return -1;
        }
        memcpy(argument, words, sizeof(words));
        return 0;
    }

    static int FpgaIoctl(unsigned long request, void* argument) {
        long result = 0;
        std::string line = Format("ioctl fpga0 0x%lx", request);
        if (request == 0x40046600ul) {
            std::uint32_t size = 0;
            memcpy(&size, argument, sizeof(size));
            line = Format("ioctl fpga0 size %u", size);
        } else if (request == 0x6601ul) {
            line = "ioctl fpga0 end";
        }
        return Record(line, result) ? static_cast<int>(result) : 0;
    }

    // A part of 85 pages with its address pointer set by the first message.
    static int I2cTransfer(const i2c_rdwr_ioctl_data& transfer) {
        std::string line = "i2c transfer";
        for (unsigned i = 0; i < transfer.nmsgs; ++i) {
            const i2c_msg& message = transfer.msgs[i];
            const std::size_t shown = std::min<std::size_t>(message.len, 2);
            if (message.flags == 1)
                line += Format(" [0x%02x r %u]", message.addr, message.len);
            else if (message.flags == 0)
                line += Format(" [0x%02x w%s%s]", message.addr, Hex(message.buf, shown).c_str(),
                               message.len > 2 ? Format(" + %u", message.len - 2u).c_str() : "");
            else
                line += Format(" [0x%02x flags %u]", message.addr, message.flags);
        }
        long result = 0;
        if (Record(line, result))
            return static_cast<int>(result);
        std::size_t address = 0;
        for (unsigned i = 0; i < transfer.nmsgs; ++i) {
            const i2c_msg& message = transfer.msgs[i];
            if (message.flags == 1) {
                memcpy(message.buf, current->eeprom.data() + address, message.len);
                continue;
            }
            address = static_cast<std::size_t>(message.buf[0] << 8 | message.buf[1]);
            memcpy(&current->eeprom[address], message.buf + 2, message.len - 2u);
        }
        return static_cast<int>(transfer.nmsgs);
    }

    static int I2cIoctl(unsigned long request, void* argument) {
        if (request == 0x0707ul)
            return I2cTransfer(*static_cast<i2c_rdwr_ioctl_data*>(argument));
        long result = 0;
        const char* name = request == 0x0703ul ? "slave" : request == 0x0709ul ? "protect" : "?";
        const std::string line = Format(
            "i2c %s 0x%lx", name, static_cast<unsigned long>(reinterpret_cast<std::uintptr_t>(argument)));
        return Record(line, result) ? static_cast<int>(result) : 0;
    }

    static int Select(int count, fd_set* readable, timeval* timeout) {
        long result = 0;
        if (count == 0) {
            const long milliseconds = timeout->tv_sec * 1000L + timeout->tv_usec / 1000;
            return Record(Format("sleep %ld", milliseconds), result) ? static_cast<int>(result) : 0;
        }
        std::string name;
        for (int fd = 0; fd < count; ++fd) {
            if (FD_ISSET(fd, readable))
                name += Find(fd) != nullptr ? Find(fd)->name : "?";
        }
        if (Record(Format("wait %s %ld.%06ld", name.c_str(), static_cast<long>(timeout->tv_sec),
                          static_cast<long>(timeout->tv_usec)),
                   result)) {
            FD_ZERO(readable);
            return static_cast<int>(result);
        }
        timeout->tv_usec = current->leftMicroseconds;
        if (!current->replies.empty())
            return 1;
        FD_ZERO(readable);
        return 0;
    }

    static std::string Settings(const termios& settings) {
        std::string text = Format("iflag 0x%x oflag 0x%x cflag 0x%x lflag 0x%x cc", settings.c_iflag,
                                  settings.c_oflag, settings.c_cflag, settings.c_lflag);
        for (int i = 0; i < NCCS; ++i) {
            if (settings.c_cc[i] != 0)
                text += Format(" %d:%d", i, settings.c_cc[i]);
        }
        return text;
    }
};

}  // namespace test

using test::RecordedCalls;

extern "C" {

int __real_open(const char*, int, ...);
int __real_close(int);
ssize_t __real_read(int, void*, size_t);
ssize_t __real_write(int, const void*, size_t);
off_t __real_lseek(int, off_t, int);
int __real_ioctl(int, unsigned long, ...);
int __real_stat(const char*, struct stat*);
int __real_system(const char*);
FILE* __real_popen(const char*, const char*);
int __real_pclose(FILE*);
int __real_select(int, fd_set*, fd_set*, fd_set*, timeval*);
int __real_tcgetattr(int, termios*);
int __real_tcsetattr(int, int, const termios*);
int __real_tcdrain(int);
int __real_tcflush(int, int);
int __real_fcntl(int, int, ...);
void* __real_malloc(size_t);
void* __real_calloc(size_t, size_t);

int __wrap_open(const char* path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const int mode = (flags & O_CREAT) != 0 ? va_arg(arguments, int) : 0;
    va_end(arguments);
    return RecordedCalls::Takes(path) ? RecordedCalls::Open(path, flags) : __real_open(path, flags, mode);
}

int __wrap_close(int fd) {
    return RecordedCalls::Find(fd) != nullptr ? RecordedCalls::Close(fd) : __real_close(fd);
}

ssize_t __wrap_read(int fd, void* buffer, size_t size) {
    auto* file = RecordedCalls::Find(fd);
    return file != nullptr ? RecordedCalls::Read(*file, buffer, size) : __real_read(fd, buffer, size);
}

ssize_t __wrap_write(int fd, const void* buffer, size_t size) {
    auto* file = RecordedCalls::Find(fd);
    return file != nullptr ? RecordedCalls::Write(*file, buffer, size) : __real_write(fd, buffer, size);
}

off_t __wrap_lseek(int fd, off_t offset, int whence) {
    auto* file = RecordedCalls::Find(fd);
    if (file == nullptr)
        return __real_lseek(fd, offset, whence);
    long result = 0;
    if (RecordedCalls::Record(test::Format("seek %s %ld", file->name.c_str(), static_cast<long>(offset)) +
                                  (whence == SEEK_SET ? "" : " ?"),
                              result))
        return static_cast<off_t>(result);
    file->offset = static_cast<std::size_t>(offset);
    return offset;
}

int __wrap_ioctl(int fd, unsigned long request, ...) {
    va_list arguments;
    va_start(arguments, request);
    void* argument = va_arg(arguments, void*);
    va_end(arguments);
    auto* file = RecordedCalls::Find(fd);
    if (file == nullptr)
        return __real_ioctl(fd, request, argument);
    if (file->name == "optic0")
        return RecordedCalls::OpticIoctl(request, argument);
    return file->name == "fpga0" ? RecordedCalls::FpgaIoctl(request, argument)
                                 : RecordedCalls::I2cIoctl(request, argument);
}

int __wrap_stat(const char* path, struct stat* status) {
    if (test::current == nullptr)
        return __real_stat(path, status);
    long result = 0;
    if (RecordedCalls::Record(test::Format("stat %s", path), result))
        return static_cast<int>(result);
    if (!RecordedCalls::Takes(path)) {
        errno = ENOENT;
        return -1;
    }
    *status = {};
    status->st_size = static_cast<off_t>(test::current->files[path].size());
    return 0;
}

int __wrap_system(const char* command) {
    if (test::current == nullptr)
        return __real_system(command);
    long result = 0;
    return RecordedCalls::Record(std::string("shell ") + command, result) ? static_cast<int>(result) : 0;
}

FILE* __wrap_popen(const char* command, const char* mode) {
    if (test::current == nullptr)
        return __real_popen(command, mode);
    long result = 0;
    if (RecordedCalls::Record(std::string("pipe ") + command + (strcmp(mode, "r") == 0 ? "" : " ?"), result))
        return nullptr;
    FILE* pipe = tmpfile();
    const std::string& output = test::current->outputs[command];
    fwrite(output.data(), 1, output.size(), pipe);
    rewind(pipe);
    return pipe;
}

int __wrap_pclose(FILE* pipe) {
    if (test::current == nullptr)
        return __real_pclose(pipe);
    test::current->Note("pclose");
    return fclose(pipe);
}

int __wrap_select(int count, fd_set* readable, fd_set* writable, fd_set* failed, timeval* timeout) {
    if (test::current == nullptr)
        return __real_select(count, readable, writable, failed, timeout);
    return RecordedCalls::Select(count, readable, timeout);
}

int __wrap_tcgetattr(int fd, termios* settings) {
    auto* file = RecordedCalls::Find(fd);
    if (file == nullptr)
        return __real_tcgetattr(fd, settings);
    test::current->Note("tcgetattr " + file->name);
    *settings = {};
    settings->c_iflag = 0x500;  // something to tell the settings found from the ones made
    return 0;
}

int __wrap_tcsetattr(int fd, int when, const termios* settings) {
    auto* file = RecordedCalls::Find(fd);
    if (file == nullptr)
        return __real_tcsetattr(fd, when, settings);
    test::current->Note("tcsetattr " + file->name + (when == TCSANOW ? " now " : " ? ") +
                        RecordedCalls::Settings(*settings));
    return 0;
}

int __wrap_tcdrain(int fd) {
    auto* file = RecordedCalls::Find(fd);
    if (file == nullptr)
        return __real_tcdrain(fd);
    test::current->Note("tcdrain " + file->name);
    return 0;
}

int __wrap_tcflush(int fd, int queue) {
    auto* file = RecordedCalls::Find(fd);
    if (file == nullptr)
        return __real_tcflush(fd, queue);
    test::current->Note("tcflush " + file->name + (queue == TCIFLUSH ? " input" : " ?"));
    return 0;
}

int __wrap_fcntl(int fd, int command, ...) {
    va_list arguments;
    va_start(arguments, command);
    const long argument = va_arg(arguments, long);  // or an address
    va_end(arguments);
    auto* file = RecordedCalls::Find(fd);
    if (file == nullptr)
        return __real_fcntl(fd, command, argument);
    test::current->Note("fcntl " + file->name + (command == F_SETFL ? " setfl " : " ? ") +
                        std::to_string(static_cast<int>(argument)));
    return 0;
}

// Allocations are not worth a line: they only fail where a rule says so.
void* __wrap_malloc(size_t size) {
    return RecordedCalls::MemoryIsShort("malloc") ? nullptr : __real_malloc(size);
}

void* __wrap_calloc(size_t count, size_t size) {
    return RecordedCalls::MemoryIsShort("calloc") ? nullptr : __real_calloc(count, size);
}

}  // extern "C"
