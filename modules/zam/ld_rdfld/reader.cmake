# Reading data, module entries.
