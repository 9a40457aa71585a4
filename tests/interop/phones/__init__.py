"""SIP clients of others, run without a screen or a keyboard, one command at a time."""
