include(GNUInstallDirs)

# The agent looks for the recorder core four folders above its own, in veltra.recorder.core/Libraries.
set(VELTRA_INSTALL_PLUGIN_DIR ${CMAKE_INSTALL_LIBDIR}/veltra)
set(VELTRA_INSTALL_AGENT_DIR ${VELTRA_INSTALL_PLUGIN_DIR}/veltra.socket.agent/Libraries/linux/x86_64)
set(VELTRA_INSTALL_CORE_DIR ${VELTRA_INSTALL_PLUGIN_DIR}/veltra.recorder.core/Libraries)
