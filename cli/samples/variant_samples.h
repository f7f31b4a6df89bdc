// The sample tablets that differ from "fresh" or "already-deployed" in what names their archive, in their firmware,
// their drivers or their files.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "cli/samples/samples.h"
#include "sim/tablet/devices/firmware.h"
#include "sim/tablet/drive/drive.h"

namespace cli {

struct VariantSample {
  Sample sample;
  std::string_view base;                               ///< the sample that it is made of
  std::string_view modem = R"({ "present": true })";   ///< of tablet.json
  std::string_view driver = R"({ "present": true })";  ///< "firmware_driver" of tablet.json
  std::string_view registry = {};                      ///< lines of a .reg file below its header
  std::string_view sales_code = "VZW";                 ///< in firmware; empty: none
  std::string_view image_id = {};                      ///< the same
  /// What is special about drive C:.
  enum class Drive { kAsBase, kMarker, kCorruptArchive, kMissingArchive, kLeftovers } drive = Drive::kAsBase;
};

std::span<const VariantSample> VariantSamples();
/// Null for a sample that is described elsewhere.
const VariantSample* FindVariantSample(std::string_view name);

/// The sales code and the modem image ID of a sample in its firmware.
void PutFirmware(const VariantSample& sample, tablet::Firmware& firmware);
/// What is special about the sample's drive, on the drive of its base.
void PutSpecialFiles(const VariantSample& sample, bool small, tablet::Drive& drive);

}  // namespace cli
