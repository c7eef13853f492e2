# What the policy of android/sepolicy takes from a phone's platform policy, cut down to what a
# policy compiler must know: classes with the permissions that rules name, types, macros.
define(`init_daemon_domain', `
type_transition init $1_exec:process $1;
allow init $1_exec:file { getattr open read execute };
allow init $1:process transition;
allow $1 $1_exec:file { entrypoint };
')
define(`get_prop', `allow $1 $2:file { getattr open read map };')
class process class file class dir class lnk_file class chr_file class capability2
class netlink_kobject_uevent_socket
sid kernel sid security sid unlabeled
class process { transition } class file { append entrypoint execute getattr map open read write }
class dir { search } class lnk_file { read } class chr_file { open write }
class capability2 { block_suspend }
class netlink_kobject_uevent_socket { create bind read }
sensitivity s0; dominance { s0 } category c0; level s0:c0;
mlsconstrain file write (l1 eq l2);
attribute domain; attribute exec_type; attribute file_type; attribute fs_type;
attribute hal_health_server; attribute ondra_client; attribute quillon_client;
attribute sysfs_type; attribute tessera_client; attribute vendor_file_type;
type build_vendor_prop; type init, domain; type kmsg_device;
type sysfs, fs_type, sysfs_type;
type sysfs_batteryinfo, fs_type, sysfs_type;
type sysfs_thermal, fs_type, sysfs_type;
type sysfs_wake_lock, fs_type, sysfs_type;
include(file.te)
include(cellwarden.te)
role r; role r types domain; user u roles { r } level s0 range s0 - s0:c0;
sid kernel u:r:init:s0 sid security u:r:init:s0 sid unlabeled u:r:init:s0
genfscon sysfs / u:object_r:sysfs:s0
genfscon sysfs /power/wake_lock u:object_r:sysfs_wake_lock:s0
genfscon sysfs /power/wake_unlock u:object_r:sysfs_wake_lock:s0
include(genfs_contexts)
