/* Lists the features of the first camera found, or those whose category begins so; sets one first when it is named.
 * usage: features [CATEGORY [NAME VALUE]]
 *   features DeviceControl
 *   features AcquisitionControl ExposureTime 5000
 *   features AcquisitionControl TriggerSource Software */
#include <ox3drgbd/Ox3dRgbdExtension.h>

#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static const char* access_text(uint32_t access) {
    static const char* const texts[] = {"--", "--", "w", "r", "rw"};
    return access <= OX3D_RGBD_ACCESS_READ_WRITE ? texts[access] : "?";
}

static void print(const OX3D_RGBD_FEATURE* feature) {
    printf("%-32s %-2s ", feature->chName, access_text(feature->nAccess));
    const OX3D_RGBD_PARAM* value = &feature->stValue;
    if (feature->nHasValue == 0) {
        printf("%s\n", feature->nType == OX3D_RGBD_FEATURE_COMMAND ? "(command)" : "");
        return;
    }
    switch (feature->nType) {
    case OX3D_RGBD_PARAM_BOOL:
        printf("%s", value->bBoolValue != 0 ? "yes" : "no");
        break;
    case OX3D_RGBD_PARAM_INT:
        printf("%" PRId64 " [%" PRId64 " .. %" PRId64 "]", value->stIntParam.nCurValue,
               value->stIntParam.nMin, value->stIntParam.nMax);
        break;
    case OX3D_RGBD_PARAM_FLOAT:
        printf("%g [%g .. %g]", (double)value->stFloatParam.fCurValue, (double)value->stFloatParam.fMin,
               (double)value->stFloatParam.fMax);
        break;
    case OX3D_RGBD_PARAM_ENUM: /* OX3D_RGBD_GetFeatureEntries has the names */
        printf("%" PRIu32 " (of %" PRIu32 ")", value->stEnumParam.nCurValue, feature->nEntryCount);
        break;
    default:
        printf("\"%.*s\"", OX3D_RGBD_MAX_STRING, value->stStringParam.chCurValue);
    }
    printf("%s%s\n", feature->chUnit[0] != '\0' ? " " : "", feature->chUnit);
}

static uint32_t list(void* camera, const char* category) {
    uint32_t count = 0;
    uint32_t status = OX3D_RGBD_GetFeatures(camera, NULL, NULL, 0, &count);
    if (status != OX3D_RGBD_OK) {
        return status;
    }
    const uint32_t capacity = count;
    OX3D_RGBD_FEATURE* features = calloc(capacity, sizeof(*features));
    if (features == NULL) {
        return OX3D_RGBD_E_MEMORY;
    }
    status = OX3D_RGBD_GetFeatures(camera, NULL, features, capacity, &count);
    for (uint32_t i = 0; status == OX3D_RGBD_OK && i < count && i < capacity; ++i) {
        if (strncmp(features[i].chCategory, category, strlen(category)) == 0) {
            print(&features[i]);
        }
    }
    free(features);
    return status;
}

/* The type decides how a value is set. */
static uint32_t set(void* camera, const char* name, const char* text) {
    OX3D_RGBD_FEATURE feature;
    uint32_t count = 0;
    const uint32_t status = OX3D_RGBD_GetFeatures(camera, name, &feature, 1, &count);
    if (status != OX3D_RGBD_OK) {
        return status;
    }
    OX3D_RGBD_PARAM value = {.enParamType = feature.nType};
    switch (feature.nType) {
    case OX3D_RGBD_FEATURE_COMMAND:
        return OX3D_RGBD_Execute(camera, name);
    case OX3D_RGBD_PARAM_ENUM:
        return OX3D_RGBD_SetEnumByName(camera, name, text);
    case OX3D_RGBD_PARAM_BOOL:
        value.bBoolValue = strcmp(text, "yes") == 0;
        break;
    case OX3D_RGBD_PARAM_INT:
        value.stIntParam.nCurValue = strtoll(text, NULL, 10);
        break;
    case OX3D_RGBD_PARAM_FLOAT:
        value.stFloatParam.fCurValue = strtof(text, NULL);
        break;
    default:
        snprintf(value.stStringParam.chCurValue, sizeof(value.stStringParam.chCurValue), "%s", text);
    }
    return OX3D_RGBD_SetParam(camera, name, &value);
}

int main(int argc, char** argv) {
    void* camera = NULL;
    uint32_t status = OX3D_RGBD_OpenDevice(&camera, NULL);
    if (status == OX3D_RGBD_OK) {
        if (argc > 3) {
            status = set(camera, argv[2], argv[3]);
        }
        if (status == OX3D_RGBD_OK) {
            status = list(camera, argc > 1 ? argv[1] : "");
        }
        const uint32_t closed = OX3D_RGBD_CloseDevice(&camera);
        status = status != OX3D_RGBD_OK ? status : closed;
    }
    if (status != OX3D_RGBD_OK) {
        fprintf(stderr, "failed: %s\n", OX3D_RGBD_StatusText(status));
    }
    return status == OX3D_RGBD_OK ? 0 : 1;
}
