#include "tests/faults/Calls.h"

#include <sys/syscall.h>

#include <algorithm>
#include <cerrno>

namespace Faults {

namespace {

std::vector<int> const opening{EMFILE, ENOENT, EACCES, EIO, EINTR, ENFILE, ENOMEM, ENODEV};
std::vector<int> const newDescriptor{EMFILE, ENFILE, ENOMEM};
std::vector<int> const naming{ENOENT, EACCES, EIO, ENOMEM};
std::vector<int> const changing{EROFS, ENOSPC, EACCES, EIO};
std::vector<int> const receiving{EAGAIN, EINTR, EIO, ENOMEM, ECONNRESET, ENOBUFS};
std::vector<int> const sending{EAGAIN, EINTR, EPIPE, ENOBUFS, ECONNRESET, ENOSPC, EIO};
std::vector<int> const waiting{EINTR, ENOMEM};

std::vector<Call> const & calls() {
   using enum Subject;
   static std::vector<Call> const table{
       {"openat", SYS_openat, path, 1, opening},
       {"openat2", SYS_openat2, path, 1, opening},
       {"read", SYS_read, descriptor, 0, {EIO, EAGAIN, EINTR, ENODEV, ECONNRESET}},
       {"pread64", SYS_pread64, descriptor, 0, {EIO, EINTR}},
       {"readv", SYS_readv, descriptor, 0, {EIO, EAGAIN, EINTR}},
       {"write", SYS_write, descriptor, 0, {ENOSPC, EIO, EAGAIN, EINTR, EPIPE, EROFS}},
       {"writev", SYS_writev, descriptor, 0, {ENOSPC, EIO, EAGAIN, EINTR, EPIPE}},
       {"pwrite64", SYS_pwrite64, descriptor, 0, {ENOSPC, EIO, EINTR}},
       {"lseek", SYS_lseek, descriptor, 0, {EINVAL, ESPIPE}},
       {"fsync", SYS_fsync, descriptor, 0, {EIO, ENOSPC, EINTR}},
       {"fdatasync", SYS_fdatasync, descriptor, 0, {EIO, ENOSPC, EINTR}},
       {"ftruncate", SYS_ftruncate, descriptor, 0, {EIO, ENOSPC, EINTR}},
       {"fallocate", SYS_fallocate, descriptor, 0, {ENOSPC, EIO, EINTR}},
       {"fstat", SYS_fstat, descriptor, 0, {EIO, ENOMEM}},
       {"newfstatat", SYS_newfstatat, path, 1, naming},
       {"statx", SYS_statx, path, 1, naming},
       {"stat", SYS_stat, path, 0, naming},
       {"lstat", SYS_lstat, path, 0, naming},
       {"statfs", SYS_statfs, path, 0, naming},
       {"fstatfs", SYS_fstatfs, descriptor, 0, {EIO, EINTR, ENOMEM}},
       {"access", SYS_access, path, 0, naming},
       {"faccessat", SYS_faccessat, path, 1, naming},
       {"faccessat2", SYS_faccessat2, path, 1, naming},
       {"readlink", SYS_readlink, path, 0, naming},
       {"readlinkat", SYS_readlinkat, path, 1, naming},
       {"getdents64", SYS_getdents64, descriptor, 0, {EIO, ENOENT}},
       {"mkdir", SYS_mkdir, path, 0, changing},
       {"mkdirat", SYS_mkdirat, path, 1, changing},
       {"unlink", SYS_unlink, path, 0, changing},
       {"unlinkat", SYS_unlinkat, path, 1, changing},
       {"rename", SYS_rename, path, 0, changing},
       {"renameat", SYS_renameat, path, 1, changing},
       {"renameat2", SYS_renameat2, path, 1, changing},
       {"chmod", SYS_chmod, path, 0, changing},
       {"fchmodat", SYS_fchmodat, path, 1, changing},
       {"fchmod", SYS_fchmod, descriptor, 0, changing},
       {"chown", SYS_chown, path, 0, changing},
       {"fchownat", SYS_fchownat, path, 1, changing},
       {"fchown", SYS_fchown, descriptor, 0, changing},
       {"ioctl", SYS_ioctl, descriptor, 0, {ENOTTY, EIO}},
       {"fcntl", SYS_fcntl, descriptor, 0, {ENOMEM, EMFILE}},
       {"flock", SYS_flock, descriptor, 0, {EINTR, ENOLCK}},
       {"dup", SYS_dup, descriptor, 0, newDescriptor},
       {"dup3", SYS_dup3, descriptor, 0, {EMFILE, EINTR}},
       {"pipe2", SYS_pipe2, none, 0, newDescriptor},
       {"eventfd2", SYS_eventfd2, none, 0, newDescriptor},
       {"signalfd4", SYS_signalfd4, none, 0, newDescriptor},
       {"timerfd_create", SYS_timerfd_create, none, 0, newDescriptor},
       {"timerfd_settime", SYS_timerfd_settime, descriptor, 0, {ECANCELED}},
       {"inotify_init1", SYS_inotify_init1, none, 0, newDescriptor},
       {"memfd_create", SYS_memfd_create, none, 0, newDescriptor},
       {"pidfd_open", SYS_pidfd_open, none, 0, newDescriptor},
       {"pidfd_send_signal", SYS_pidfd_send_signal, none, 0, {ESRCH, EPERM}},
       {"waitid", SYS_waitid, none, 0, {EINTR}},
       {"wait4", SYS_wait4, none, 0, {EINTR}},
       {"kill", SYS_kill, none, 0, {EPERM}},
       {"clone", SYS_clone, none, 0, {EAGAIN, ENOMEM}},
       {"clone3", SYS_clone3, none, 0, {EAGAIN, ENOMEM}},
       {"vfork", SYS_vfork, none, 0, {EAGAIN, ENOMEM}},
       {"epoll_create1", SYS_epoll_create1, none, 0, newDescriptor},
       {"epoll_ctl", SYS_epoll_ctl, descriptor, 2, {ENOMEM, ENOSPC}},
       {"epoll_wait", SYS_epoll_wait, none, 0, {EINTR}},
       {"epoll_pwait", SYS_epoll_pwait, none, 0, {EINTR}},
       {"epoll_pwait2", SYS_epoll_pwait2, none, 0, {EINTR}},
       {"poll", SYS_poll, none, 0, waiting},
       {"ppoll", SYS_ppoll, none, 0, waiting},
       {"select", SYS_select, none, 0, waiting},
       {"nanosleep", SYS_nanosleep, none, 0, {EINTR}},
       {"clock_nanosleep", SYS_clock_nanosleep, none, 0, {EINTR}},
       {"socket", SYS_socket, none, 0, {EMFILE, ENFILE, ENOBUFS, ENOMEM, EACCES, EAFNOSUPPORT}},
       {"socketpair", SYS_socketpair, none, 0, newDescriptor},
       {"bind", SYS_bind, none, 0, {EADDRINUSE, EACCES, EROFS, ENOMEM, ENOENT}},
       {"listen", SYS_listen, none, 0, {EADDRINUSE}},
       {"accept4",
        SYS_accept4,
        none,
        0,
        {EMFILE, ENFILE, ENOMEM, ENOBUFS, ECONNABORTED, EINTR, EAGAIN, EPERM}},
       {"connect", SYS_connect, none, 0, {ECONNREFUSED, ENOENT, EAGAIN, EACCES, EINTR}},
       {"getsockopt", SYS_getsockopt, none, 0, {ENOMEM}},
       {"setsockopt", SYS_setsockopt, none, 0, {ENOMEM, EPERM}},
       {"getsockname", SYS_getsockname, none, 0, {ENOBUFS}},
       {"getpeername", SYS_getpeername, none, 0, {ENOBUFS, ENOTCONN}},
       {"sendto", SYS_sendto, none, 0, sending},
       {"sendmsg", SYS_sendmsg, none, 0, sending},
       {"sendmmsg", SYS_sendmmsg, none, 0, sending},
       {"recvfrom", SYS_recvfrom, none, 0, receiving},
       {"recvmsg", SYS_recvmsg, none, 0, receiving},
       {"recvmmsg", SYS_recvmmsg, none, 0, receiving},
       {"mmap", SYS_mmap, none, 0, {ENOMEM, EAGAIN}},
       {"mremap", SYS_mremap, none, 0, {ENOMEM}},
       {"mprotect", SYS_mprotect, none, 0, {ENOMEM}},
       {"brk", SYS_brk, none, 0, {ENOMEM}},
       {"getrandom", SYS_getrandom, none, 0, {EAGAIN, EINTR}},
       {"prlimit64", SYS_prlimit64, none, 0, {EPERM}},
       {"getcwd", SYS_getcwd, none, 0, {ENOENT, ENOMEM}},
       {"prctl", SYS_prctl, none, 0, {EINVAL, EPERM}},
       {"sysinfo", SYS_sysinfo, none, 0, {EFAULT}},
       {"uname", SYS_uname, none, 0, {EFAULT}},
       {"sched_setscheduler", SYS_sched_setscheduler, none, 0, {EPERM}},
       {"setpriority", SYS_setpriority, none, 0, {EACCES}},
       {"sched_getaffinity", SYS_sched_getaffinity, none, 0, {EINVAL}},
   };
   return table;
}

}  // namespace

Call const * callOf(int number) {
   auto const found =
       std::find_if(calls().begin(), calls().end(), [&](Call const & call) { return call.number == number; });
   return found == calls().end() ? nullptr : &*found;
}

Call const * callNamed(std::string const & name) {
   auto const found =
       std::find_if(calls().begin(), calls().end(), [&](Call const & call) { return call.name == name; });
   return found == calls().end() ? nullptr : &*found;
}

}  // namespace Faults
