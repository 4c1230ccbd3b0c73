#include "agent/KernelMessages.h"

namespace Agent {

namespace {

using enum KernelForm;

// "QID" without "tag" and the command's name up to 6.1.
constexpr KernelMessage timeouts[]{
    {"I/O <tag |>%num <(%hex) |><opcode 0x%hex |><(%any) |>QID %num timeout", told,
     "nvme nvme0: I/O tag 967 (b3c7) opcode 0x1 (I/O Cmd) QID 1 timeout, aborting req_op:WRITE(1) size:4096",
     "nvme0n1"},
    {"I/O <tag |>%num <(%hex) |>type %num opcode 0x%hex (%any) QID %num timeout", told,
     "nvme nvme0: I/O tag 7 (1007) type 4 opcode 0x2 (Read) QID 1 timeout", "nvme0n1"},
    {"queue %num: timeout <request|cid> 0x%hex type %num", told,
     "nvme nvme0: queue 1: timeout cid 0x2a type 4 opcode 0x2 (Read)", "nvme0n1"},
    {"controller is down; will reset", told,
     "nvme nvme0: controller is down; will reset: CSTS=0xffffffff, PCI_STATUS=0x10", "nvme0n1"},
    {"Removing after probe failure", told, "nvme nvme0: Removing after probe failure status: -19", "nvme0n1"},
    {"Disabling device after reset failure", told, "nvme nvme5: Disabling device after reset failure: -22",
     "nvme5n1"},
    {"frozen state error detected", told, "nvme nvme0: frozen state error detected, reset controller",
     "nvme0n1"},
    {"invalid id %num completed on queue %num", told, "nvme nvme0: invalid id 49408 completed on queue 4",
     "nvme0n1"},
};

constexpr KernelMessage controllers[]{
    {"Device not ready; aborting ", told, "nvme nvme3: Device not ready; aborting reset, CSTS=0x1",
     "nvme3n1"},
    {"Device shutdown incomplete", told, "nvme nvme3: Device shutdown incomplete; abort shutdown", "nvme3n1"},
    {"Identify Controller failed", told, "nvme nvme3: Identify Controller failed (-4)", "nvme3n1"},
    {"resetting controller due to <AER|persistent internal error>", told,
     "nvme nvme0: resetting controller due to persistent internal error", "nvme0n1"},
    {"request 0x%hex genctr mismatch", told,
     "nvme nvme0: request 0x100 genctr mismatch (got 0xc expected 0xd)", "nvme0n1"},
    {"Failed to read smart log (error %num)", told, "nvme nvme0: Failed to read smart log (error -5)",
     "nvme0n1"},
};

// A command of a program that the controller refuses has no LBA.
constexpr KernelMessage commands[]{
    {"%dev: %any) @ LBA %num, %num blocks, %any (sct 0x%hex / sc 0x%hex)", told,
     "nvme0c1n2: Read(0x2) @ LBA 8, 8 blocks, Unrecovered Read Error (sct 0x2 / sc 0x81) DNR", "nvme0n2"},
};

constexpr KernelMessageGroup groups[]{
    {"drivers/nvme/host/pci.c, tcp.c, rdma.c", "nvme %nvme: ", timeouts},
    {"drivers/nvme/host/core.c, nvme.h, hwmon.c", "nvme %nvme: ", controllers},
    {"drivers/nvme/host/core.c", "", commands},
};

}  // namespace

KernelMessageGroups nvmeMessages() {
   return groups;
}

}  // namespace Agent
