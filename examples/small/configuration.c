#include <commonutilities/commonutilities.h>

int main(int argc, char **argv) {
  rfAECommonConfig config;
  if (!aeloadConfiguration(argc > 1 ? argv[1] : "/etc/demo/config.json", &config)) return 1;

  rfAECommonConfigConfigObj *net = NULL;
  rfAECommonConfigConfigParam *mtu = NULL;
  uint16_t value = 1500;
  if (getAEParameterGroup(&config.ConfigObj, "net", &net) &&
      getAEParameterinArray(&net->ConfigParam, "mtu", &mtu))
    getAEParameterAsUnsignedInteger16(mtu, &value);

  DbgLog_InitDebugLogger(config.logCtrlFile, config.logfile, (uint32_t)config.logFileSize, 255);
  DbgLog_DumptoLog(DBGLOG_INFO, "[%s:%d]mtu is %u\n", "demo", __LINE__, value);
  DbgLog_DeInitDebugLogger();
  aeFreeConfiguration(&config);
  return 0;
}
