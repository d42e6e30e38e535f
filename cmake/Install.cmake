# What `cmake --install` lays out: bin/, lib/ and include/distnet/.
#
# The libraries go to lib/ and not to the multi-architecture folder, because distnetd looks for the service library
# in ../lib from where it lies. A program that uses the client library adds include/distnet to its include path.

install(TARGETS distnet_platform distnet_service distnet_client distnetd distnetctl
    RUNTIME DESTINATION bin LIBRARY DESTINATION lib)

install(DIRECTORY client platform DESTINATION include/distnet FILES_MATCHING PATTERN "*.h")
# What the client's headers include of the other folders.
install(FILES distributed/services/service/i_distnet_service.h distributed/services/service/distnet_errors.h
    DESTINATION include/distnet/distributed/services/service)
install(FILES host/i_distnet_host.h DESTINATION include/distnet/host)
