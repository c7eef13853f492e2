# What android/sepolicy takes from a phone's platform policy: the kernel's classes with all their
# permissions, the macros, and the types, attributes and rules for every domain that it relies on.
# With with_cellwarden defined, android/sepolicy is part of it.
define(`init_daemon_domain', `
type_transition init $1_exec:process $1;
allow init $1_exec:file { getattr open read execute map };
allow $1 $1_exec:file { entrypoint open read execute getattr map };
allow init $1:process { transition siginh rlimitinh };
dontaudit init $1:process noatsecure;
')
define(`get_prop', `allow $1 $2:file { getattr open read map };')
define(`ours', `ifdef(`with_cellwarden', `include($1)')')

class security class process class capability class filesystem class file class dir class fd
class lnk_file class chr_file class blk_file class sock_file class fifo_file
class unix_stream_socket class unix_dgram_socket class netlink_kobject_uevent_socket
class capability2 class binder class property_service class service_manager class hwservice_manager
sid kernel sid security sid unlabeled
common file {
    ioctl read write create getattr setattr lock relabelfrom relabelto append map
    unlink link rename execute quotaon mounton audit_access open execmod
    watch watch_mount watch_sb watch_with_perm watch_reads
}
common socket {
    ioctl read write create getattr setattr lock relabelfrom relabelto append map
    bind connect listen accept getopt setopt shutdown recvfrom sendto name_bind
}
class security {
    compute_av compute_create compute_member check_context load_policy compute_relabel compute_user
    setenforce setbool setsecparam setcheckreqprot read_policy validate_trans
}
class process {
    fork transition sigchld sigkill sigstop signull signal ptrace getsched setsched getsession
    getpgid setpgid getcap setcap share getattr setexec setfscreate noatsecure siginh setrlimit
    rlimitinh dyntransition setcurrent execmem execstack execheap setkeycreate setsockcreate getrlimit
}
class capability {
    chown dac_override dac_read_search fowner fsetid kill setgid setuid setpcap linux_immutable
    net_bind_service net_broadcast net_admin net_raw ipc_lock ipc_owner sys_module sys_rawio
    sys_chroot sys_ptrace sys_pacct sys_admin sys_boot sys_nice sys_resource sys_time
    sys_tty_config mknod lease audit_write audit_control setfcap
}
class capability2 {
    mac_override mac_admin syslog wake_alarm block_suspend audit_read perfmon bpf checkpoint_restore
}
class filesystem {
    mount remount unmount getattr relabelfrom relabelto associate quotamod quotaget watch
}
class dir inherits file { add_name remove_name reparent search rmdir }
class file inherits file { execute_no_trans entrypoint }
class chr_file inherits file { execute_no_trans entrypoint }
class fd { use }
class lnk_file inherits file class blk_file inherits file
class sock_file inherits file class fifo_file inherits file
class unix_stream_socket inherits socket { connectto }
class unix_dgram_socket inherits socket class netlink_kobject_uevent_socket inherits socket
class binder { impersonate call set_context_mgr transfer }
class property_service { set }
class service_manager { add find list } class hwservice_manager { add find list }

sensitivity s0; dominance { s0 } category c0; level s0:c0;
mlsconstrain file write (l1 eq l2);
attribute domain; attribute exec_type; attribute file_type; attribute fs_type;
attribute hal_health_server; attribute ondra_client; attribute quillon_client;
attribute sysfs_type; attribute tessera_client; attribute vendor_file_type;
type init, domain; type ueventd, domain; type vendor_init, domain;
type rootfs, fs_type; type proc, fs_type; type device, fs_type; type kmsg_device;
type properties_device; type property_info; type build_vendor_prop;
type sysfs, fs_type, sysfs_type;
type sysfs_batteryinfo, fs_type, sysfs_type;
type sysfs_thermal, fs_type, sysfs_type;
type sysfs_wake_lock, fs_type, sysfs_type;

# What every domain may do on a phone; android/check-tree compares it with a real tree.
allow domain { rootfs device proc properties_device }:dir search;
allow domain proc:lnk_file read;
allow domain self:dir search;
allow domain self:lnk_file read;
allow domain init:fd use;
allow domain property_info:file { getattr open read map };
# Of sysfs, every domain may search the top and read its links too. That is left out here, so that
# android/sepolicy must name all that it needs of sysfs.
allow vendor_init sysfs_type:dir search;
allow vendor_init sysfs_type:lnk_file read;
allow vendor_init fs_type:file setattr;
allow ueventd sysfs_type:file { relabelfrom relabelto };
allow hal_health_server sysfs_batteryinfo:file { getattr open read };
ours(file.te)
ours(cellwarden.te)
role r; role r types domain; user u roles { r } level s0 range s0 - s0:c0;
sid kernel u:r:init:s0 sid security u:r:init:s0 sid unlabeled u:r:init:s0
genfscon sysfs / u:object_r:sysfs:s0
genfscon sysfs /power/wake_lock u:object_r:sysfs_wake_lock:s0
genfscon sysfs /power/wake_unlock u:object_r:sysfs_wake_lock:s0
ours(genfs_contexts)
