"""A small appliance in an emulator: its machine, its guest and the checks made on them."""
