# What optimised builds are compiled and linked with, beside the optimisation itself. Debug builds keep to their
# sanitizers.
set(optimised "$<CONFIG:Release,RelWithDebInfo,MinSizeRel>")

if(DATACOLLECTOR_HARDENING)
  include(CheckPIESupported)
  check_pie_supported(LANGUAGES CXX)
  set(CMAKE_POSITION_INDEPENDENT_CODE ON)
  target_compile_options(project_options INTERFACE
    "$<${optimised}:-fstack-protector-strong;-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")
  target_link_options(project_options INTERFACE "$<${optimised}:LINKER:-z,relro,-z,now>")
endif()

if(DATACOLLECTOR_SMALL)
  include(CheckIPOSupported)
  check_ipo_supported(LANGUAGES CXX)
  set(CMAKE_INTERPROCEDURAL_OPTIMIZATION ON)
  # Nothing here catches, so that an exception of the standard library ends the process with and without the tables
  # that lead to a handler.
  target_compile_options(project_options INTERFACE
    -ffunction-sections -fdata-sections -fno-exceptions -fno-unwind-tables -fno-asynchronous-unwind-tables)
  target_link_options(project_options INTERFACE LINKER:--gc-sections LINKER:--as-needed)
endif()
