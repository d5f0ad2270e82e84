include $(sort $(wildcard $(BR2_EXTERNAL_COMMONUTILITIES_PATH)/package/*/*.mk))
