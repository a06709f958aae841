// What each command takes from the command line.
#ifndef OX3D_TOOL_COMMAND_OPTIONS_H
#define OX3D_TOOL_COMMAND_OPTIONS_H

#include "tools/ox3d/commands/Command.h"

namespace ox3d::tool {

// Shared by commands.
void AddProvider(CLI::App& command, Arguments& arguments);
void AddCommon(CLI::App& command, Arguments& arguments); // with --recording
void AddSerial(CLI::App& command, Arguments& arguments);
void AddJson(CLI::App& command, Arguments& arguments);
void AddForce(CLI::App& command, Arguments& arguments);
void AddTimeout(CLI::App& command, uint32_t& seconds, const char* help);

void AddList(CLI::App& command, Arguments& arguments);
void AddInfo(CLI::App& command, Arguments& arguments);
void AddFeatures(CLI::App& command, Arguments& arguments);
void AddGet(CLI::App& command, Arguments& arguments);
void AddSet(CLI::App& command, Arguments& arguments);
void AddRun(CLI::App& command, Arguments& arguments);
void AddXml(CLI::App& command, Arguments& arguments);
void AddExport(CLI::App& command, Arguments& arguments);
void AddImport(CLI::App& command, Arguments& arguments);
void AddFile(CLI::App& command, Arguments& arguments);
void AddUpgrade(CLI::App& command, Arguments& arguments);
void AddCalib(CLI::App& command, Arguments& arguments);
void AddCloud(CLI::App& command, Arguments& arguments);
void AddCompletion(CLI::App& command, Arguments& arguments);
void AddView(CLI::App& command, Arguments& arguments);
void AddRos2(CLI::App& command, Arguments& arguments);
void AddStereo(CLI::App& command, Arguments& arguments);
void AddStream(CLI::App& command, Arguments& arguments);
void AddRecordOptions(CLI::App& command, Arguments& arguments);
void AddPlayOptions(CLI::App& command, Arguments& arguments);
void AddConvertOptions(CLI::App& command, Arguments& arguments);
void AddRepairOptions(CLI::App& command, Arguments& arguments);

} // namespace ox3d::tool

#endif
