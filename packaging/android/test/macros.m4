dnl The platform macros that vorn.te calls, with the rights that the platform's stand for.
define(`init_daemon_domain', `
allow init $1_exec:file { getattr map open read execute };
allow init $1:process { transition siginh rlimitinh };
allow $1 $1_exec:file { entrypoint getattr map open read execute };
type_transition init $1_exec:process $1;')
define(`vendor_internal_prop', `type $1, property_type, vendor_property_type, vendor_internal_property_type;')
define(`unix_socket_connect', `
allow $1 $2_socket:sock_file write;
allow $1 $3:unix_stream_socket connectto;')
define(`get_prop', `allow $1 $2:file { getattr map open read };')
