# The daemon's own user and group. It owns its state files and nothing else.
[AID_VENDOR_VORN]
value: 2907
