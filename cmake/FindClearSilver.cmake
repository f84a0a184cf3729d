# The HDF half of ClearSilver, which has no files of CMake's or pkg-config's: the target ClearSilver::neo_utl.
find_path(ClearSilver_INCLUDE_DIR ClearSilver/util/neo_hdf.h)
find_library(ClearSilver_NEO_UTL_LIBRARY neo_utl)
mark_as_advanced(ClearSilver_INCLUDE_DIR ClearSilver_NEO_UTL_LIBRARY)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(ClearSilver DEFAULT_MSG ClearSilver_NEO_UTL_LIBRARY ClearSilver_INCLUDE_DIR)

if(ClearSilver_FOUND AND NOT TARGET ClearSilver::neo_utl)
    add_library(ClearSilver::neo_utl UNKNOWN IMPORTED)
    set_target_properties(ClearSilver::neo_utl PROPERTIES
        IMPORTED_LOCATION ${ClearSilver_NEO_UTL_LIBRARY}
        # Its headers include each other from their own folder.
        INTERFACE_INCLUDE_DIRECTORIES "${ClearSilver_INCLUDE_DIR};${ClearSilver_INCLUDE_DIR}/ClearSilver")
endif()
