# The library that captures packets, as PCAP::pcap.
include(FindPackageHandleStandardArgs)
find_path(PCAP_INCLUDE_DIR pcap/pcap.h)
find_library(PCAP_LIBRARY pcap)
mark_as_advanced(PCAP_INCLUDE_DIR PCAP_LIBRARY)
find_package_handle_standard_args(PCAP REQUIRED_VARS PCAP_LIBRARY PCAP_INCLUDE_DIR)
if(PCAP_FOUND AND NOT TARGET PCAP::pcap)
  add_library(PCAP::pcap UNKNOWN IMPORTED)
  set_target_properties(PCAP::pcap PROPERTIES
    IMPORTED_LOCATION ${PCAP_LIBRARY} INTERFACE_INCLUDE_DIRECTORIES ${PCAP_INCLUDE_DIR})
endif()
