#include "agent/kernel/KernelMessages.h"

namespace Agent {

namespace {

using enum KernelForm;

// "QID" without "tag" and the command's name up to 6.1.
constexpr KernelMessage timeouts[]{
    {"I/O <tag |>%num <(%hex) |><opcode 0x%hex |><(%any) |>QID %num timeout", quoted,
     "nvme nvme0: I/O tag 967 (b3c7) opcode 0x1 (I/O Cmd) QID 1 timeout, aborting req_op:WRITE(1) size:4096",
     "nvme0n1"},
    {"I/O <tag |>%num <(%hex) |>type %num opcode 0x%hex (%any) QID %num timeout", quoted,
     "nvme nvme0: I/O tag 7 (1007) type 4 opcode 0x2 (Read) QID 1 timeout", "nvme0n1"},
    {"queue %num: timeout <request|cid> 0x%hex type %num", quoted,
     "nvme nvme0: queue 1: timeout cid 0x2a type 4 opcode 0x2 (Read)", "nvme0n1"},
    {"controller is down; will reset", quoted,
     "nvme nvme0: controller is down; will reset: CSTS=0xffffffff, PCI_STATUS=0x10", "nvme0n1"},
    {"Removing after probe failure", quoted, "nvme nvme0: Removing after probe failure status: -19",
     "nvme0n1"},
    {"Disabling device after reset failure", quoted, "nvme nvme5: Disabling device after reset failure: -22",
     "nvme5n1"},
    {"IO queues <lost|not created>", quoted, "nvme nvme0: IO queues lost", "nvme0n1"},
    {"<frozen|failure> state error detected", quoted,
     "nvme nvme0: frozen state error detected, reset controller", "nvme0n1"},
    {"invalid id %num completed on queue %num", quoted, "nvme nvme0: invalid id 49408 completed on queue 4",
     "nvme0n1"},
    {"I/O %num(aq:%num) timeout", quoted, "nvme nvme0: I/O 5(aq:0) timeout: resetting controller", "nvme0n1"},
};

constexpr KernelMessage controllers[]{
    {"Device not ready; aborting ", quoted, "nvme nvme3: Device not ready; aborting reset, CSTS=0x1",
     "nvme3n1"},
    {"Device shutdown incomplete", quoted, "nvme nvme3: Device shutdown incomplete; abort shutdown",
     "nvme3n1"},
    {"Reading <CAP|CRTO|VS> failed (%num)", quoted, "nvme nvme3: Reading CAP failed (-19)", "nvme3n1"},
    {"Could not set queue count (%num)", quoted, "nvme nvme3: Could not set queue count (6)", "nvme3n1"},
    {"Fw activation timeout", quoted, "nvme nvme3: Fw activation timeout, reset controller", "nvme3n1"},
    {"<Get FW SLOT INFO log error|reading changed ns log failed>", quoted,
     "nvme nvme3: Get FW SLOT INFO log error", "nvme3n1"},
    {"failed nvme_keep_alive_end_io error=%num", quoted, "nvme nvme3: failed nvme_keep_alive_end_io error=10",
     "nvme3n1"},
    {"Identify <Controller|namespace> failed", quoted, "nvme nvme3: Identify Controller failed (-4)",
     "nvme3n1"},
    {"resetting controller due to <AER|persistent internal error>", quoted,
     "nvme nvme0: resetting controller due to persistent internal error", "nvme0n1"},
    {"request 0x%hex genctr mismatch", quoted,
     "nvme nvme0: request 0x100 genctr mismatch (got 0xc expected 0xd)", "nvme0n1"},
    {"Failed to read smart log (error %num)", quoted, "nvme nvme0: Failed to read smart log (error -5)",
     "nvme0n1"},
    {"keep-alive failed", quoted, "nvme nvme3: keep-alive failed: -11", "nvme3n1"},
    {"<Failed to get ANA log: %num|ANATT timeout, resetting controller>", quoted,
     "nvme nvme3: ANATT timeout, resetting controller.", "nvme3n1"},
    {"failfast expired", quoted, "nvme nvme3: failfast expired", "nvme3n1"},
    {"<get bad block table failed|set bad block table failed|Get REPORT CHUNK log error>", quoted,
     "nvme nvme3: get bad block table failed (770)", "nvme3n1"},
};

// A controller that is reached over a network.
constexpr KernelMessage remoteControllers[]{
    {"starting error recovery", quoted, "nvme nvme0: starting error recovery", "nvme0n1"},
    {"Failed reconnect attempt %num", quoted, "nvme nvme0: Failed reconnect attempt 3/60", "nvme0n1"},
    {"failed to send request %num", quoted, "nvme nvme0: failed to send request -32", "nvme0n1"},
    {"<queue %num: |>receive failed: %num", quoted, "nvme nvme0: queue 1: receive failed: -104", "nvme0n1"},
    {"queue %num socket state %num", quoted, "nvme nvme0: queue 1 socket state 7", "nvme0n1"},
    {"tag 0x%hex on QP 0x%hex not found", quoted, "nvme nvme0: tag 0x2a on QP 0x1f not found", "nvme0n1"},
    {"got bad %name %hex on <queue|QP>", quoted, "nvme nvme0: got bad cqe.command_id 0x2a on queue 1",
     "nvme0n1"},
    {"%name for CQE %hex failed with status", quoted,
     "nvme nvme0: RECV for CQE 0x00000000f3a1 failed with status WR flushed (5)", "nvme0n1"},
    {"NVME-FC{%num}: <io failed due to |transport association event: |"
     "transport association error detected: |controller connectivity lost|Max "
     "reconnect attempts|dev_loss_tmo |reset: Reconnect attempt failed>",
     quoted, "nvme nvme0: NVME-FC{0}: io failed due to lldd error 6", "nvme0n1"},
    {"prop_get NVME_REG_CAP failed", quoted, "nvme nvme0: prop_get NVME_REG_CAP failed", "nvme0n1"},
    {"NVME-FC{%num.%num}: io timeout", quoted,
     "nvme nvme0: NVME-FC{0.1}: io timeout: opcode 1 fctype 0 w10/11: x00000008/x00000000", "nvme0n1"},
};

// A target's answer may be a refusal by its rules, so a positive status counts only for a failure:
// 6 internal error, 864 and 880 lost path, 881 ended by the host.
constexpr KernelMessage fabrics[]{
    {"Property <Get|Set> error: <-%num|6|864|880|881>, offset ", quoted,
     "nvme nvme0: Property Get error: -4, offset 0x1c", "nvme0n1"},
    {"Connect command failed<, errno: -%num|: host path error|: controller is busy or not available>", quoted,
     "nvme nvme0: Connect command failed, errno: -111", "nvme0n1"},
    {"Connect command failed, error wo/DNR bit: <-%num|6%end|864%end|881%end>", quoted,
     "nvme nvme0: Connect command failed, error wo/DNR bit: 881", "nvme0n1"},
    {"qid %num <auth_send failed with|failed to receive challenge,|failed to receive success1,> error -%num",
     quoted, "nvme nvme0: qid 1 auth_send failed with error -4", "nvme0n1"},
};

// A refused command of a program has no LBA.
constexpr KernelMessage nvmeCommands[]{
    {"%dev: %any) @ LBA %num, %num blocks, %any (sct 0x%hex / sc 0x%hex)", quoted,
     "nvme0c1n2: Read(0x2) @ LBA 8, 8 blocks, Unrecovered Read Error (sct 0x2 / sc 0x81) DNR", "nvme0n2"},
};

constexpr KernelMessageGroup nvmeGroups[]{
    {"drivers/nvme/host/pci.c, tcp.c, rdma.c, apple.c", "nvme %nvme: ", timeouts},
    {"drivers/nvme/host/core.c, nvme.h, hwmon.c, multipath.c, lightnvm.c", "nvme %nvme: ", controllers},
    {"drivers/nvme/host/tcp.c, rdma.c, fc.c", "nvme %nvme: ", remoteControllers},
    {"drivers/nvme/host/fabrics.c, auth.c", "nvme %nvme: ", fabrics},
    {"drivers/nvme/host/core.c", "", nvmeCommands},
};

}  // namespace

KernelMessageGroups nvmeMessages() {
   return nvmeGroups;
}

}  // namespace Agent
