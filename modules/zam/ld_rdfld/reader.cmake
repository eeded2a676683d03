# Data readers, output fields, module entries.
zam_module(ldrf_rfld
  ascii_values.cpp
  byte_source.cpp
  crop.cpp
  field_output.cpp
  field_reader.cpp
  ldrf_rfld.cpp
  schedule.cpp
  sources.cpp
  step_reader.cpp
  value_decoding.cpp
  value_reader.cpp
)
