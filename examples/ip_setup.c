/* Gives a network camera that nobody has opened an address, whatever subnet it is in, and looks whether it took it.
 * usage: ip_setup SERIAL_NUMBER dhcp | link-local | ADDRESS MASK GATEWAY
 *   ip_setup VC00000001 192.168.7.20 255.255.255.0 192.168.7.1 */
#include <ox3drgbd/Ox3dRgbdExtension.h>

#include <stdio.h>
#include <string.h>
#include <threads.h>

#define MAX_CAMERAS 64

static int fill(OX3D_RGBD_IP_CONFIG* config, int argc, char** argv) {
    memset(config, 0, sizeof(*config));
    if (argc == 3) {
        config->enIPCfgMode = strcmp(argv[2], "dhcp") == 0         ? OX3D_RGBD_IP_DHCP
                              : strcmp(argv[2], "link-local") == 0 ? OX3D_RGBD_IP_LINK_LOCAL
                                                                   : 0;
        return config->enIPCfgMode != 0;
    }
    if (argc != 5) {
        return 0;
    }
    config->enIPCfgMode = OX3D_RGBD_IP_STATIC;
    snprintf(config->chDestIp, sizeof(config->chDestIp), "%s", argv[2]);
    snprintf(config->chDestNetMask, sizeof(config->chDestNetMask), "%s", argv[3]);
    snprintf(config->chDestGateWay, sizeof(config->chDestGateWay), "%s", argv[4]);
    return 1;
}

/* Prints where the camera is; false when it is not there, or not at `address`, where one is given. */
static int is_there(const char* serial, const char* address) {
    static OX3D_RGBD_DEVICE_INFO list[MAX_CAMERAS];
    uint32_t count = 0;
    const uint32_t status = OX3D_RGBD_GetDeviceList(OX3D_RGBD_DEVICE_ETHERNET, list, MAX_CAMERAS, &count);
    if (status != OX3D_RGBD_OK) {
        fprintf(stderr, "no list of cameras: %s\n", OX3D_RGBD_StatusText(status));
        return 0;
    }
    for (uint32_t i = 0; i < count; ++i) {
        const OX3D_RGBD_DEVICE_INFO* info = &list[i];
        if (strncmp(info->chSerialNumber, serial, sizeof(info->chSerialNumber)) == 0) {
            printf("%.16s is at %.16s, mask %.16s, gateway %.16s\n", info->chSerialNumber, info->chCurrentIp,
                   info->chCurrentSubNetMask, info->chDefaultGateWay);
            return address == NULL || strncmp(info->chCurrentIp, address, sizeof(info->chCurrentIp)) == 0;
        }
    }
    printf("%s is not there\n", serial);
    return 0;
}

int main(int argc, char** argv) {
    OX3D_RGBD_IP_CONFIG config;
    if (!fill(&config, argc, argv)) {
        fprintf(stderr, "usage: ip_setup SERIAL_NUMBER dhcp | link-local | ADDRESS MASK GATEWAY\n");
        return 2;
    }
    if (!is_there(argv[1], NULL)) {
        return 1;
    }
    const uint32_t status = OX3D_RGBD_SetIpConfig(argv[1], &config);
    if (status != OX3D_RGBD_OK) {
        fprintf(stderr, "not set: %s\n", OX3D_RGBD_StatusText(status));
        return 1;
    }
    /* A camera leaves the network for a moment while it takes the address. */
    const char* address = config.enIPCfgMode == OX3D_RGBD_IP_STATIC ? config.chDestIp : NULL;
    for (int i = 0; i < 10; ++i) {
        if (is_there(argv[1], address)) {
            return 0;
        }
        thrd_sleep(&(struct timespec){.tv_sec = 1}, NULL);
    }
    return 1;
}
