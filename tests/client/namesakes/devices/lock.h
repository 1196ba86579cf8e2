#error A header of the library takes the host's file for its own
