// A plugin for qemu-arm: tells the instructions that a program executed, on standard error at its end.
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

// What is used of qemu's interface for plugins, version 1. Debian has no header of it.
extern void qemu_plugin_register_vcpu_tb_trans_cb(uint64_t id, void (*callback)(uint64_t id, void* block));
extern void qemu_plugin_register_atexit_cb(uint64_t id, void (*callback)(uint64_t id, void* data),
                                           void* data);
extern size_t qemu_plugin_tb_n_insns(const void* block);
extern void* qemu_plugin_tb_get_insn(const void* block, size_t index);
extern void qemu_plugin_register_vcpu_insn_exec_inline(void* instruction, int operation, void* target,
                                                       uint64_t value);
enum { ADD_U64 = 0 };

__attribute__((visibility("default"))) int qemu_plugin_version = 1;
static uint64_t executed = 0;

static void Translate(uint64_t id, void* block) {
    (void)id;
    for (size_t i = 0; i < qemu_plugin_tb_n_insns(block); ++i)
        qemu_plugin_register_vcpu_insn_exec_inline(qemu_plugin_tb_get_insn(block, i), ADD_U64, &executed, 1);
}

static void End(uint64_t id, void* data) {
    (void)id;
    (void)data;
    fprintf(stderr, "%llu\n", (unsigned long long)executed);
}

__attribute__((visibility("default"))) int qemu_plugin_install(uint64_t id, const void* info, int argc,
                                                               char** argv) {
    (void)info;
    (void)argc;
    (void)argv;
    qemu_plugin_register_vcpu_tb_trans_cb(id, Translate);
    qemu_plugin_register_atexit_cb(id, End, NULL);
    return 0;
}
