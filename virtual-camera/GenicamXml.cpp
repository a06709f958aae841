// GenicamXml.cpp - every feature becomes a node of its type and a register node "<Name>Reg" behind it.
//
// The order of elements inside a node is the one that the GenApi schema prescribes.
#include "virtual-camera/GenicamXml.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cstdio>
#include <vector>

namespace ox3d {
namespace {

constexpr const char* kNodeNames[] = {"Integer", "Float",   "Boolean", "Enumeration",
                                      "String",  "Command", "Register"};

std::string Escape(const std::string& text) {
    std::string out;
    for (const char c : text) {
        switch (c) {
        case '&':
            out += "&amp;";
            break;
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        case '"':
            out += "&quot;";
            break;
        default:
            out += c;
        }
    }
    return out;
}

// Names in the root element are restricted to letters, digits and '_'.
std::string NameToken(const std::string& text) {
    std::string out;
    std::transform(text.begin(), text.end(), std::back_inserter(out),
                   [](unsigned char c) { return std::isalnum(c) != 0 ? static_cast<char>(c) : '_'; });
    return out;
}

std::string Hex(uint32_t value) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "0x%08X", value);
    return text.data();
}

std::string Real(double value) {
    std::array<char, 32> text{};
    return {text.data(), std::to_chars(text.data(), text.data() + text.size(), value).ptr};
}

class CXmlWriter {
public:
    explicit CXmlWriter(const CFeatureMap& features) : m_features(features) {}

    std::string Write(const std::string& vendor, const std::string& model) {
        Root(vendor, model);
        Categories();
        for (const MappedFeature& feature : m_features.Features()) {
            FeatureNode(feature);
            RegisterNode(feature);
            AvailabilityNodes(feature);
        }
        m_text += "  <Port Name=\"Device\" NameSpace=\"Standard\"/>\n</RegisterDescription>\n";
        return std::move(m_text);
    }

private:
    void Element(const char* name, const std::string& value) {
        m_text += std::string("    <") + name + ">" + Escape(value) + "</" + name + ">\n";
    }
    void Open(const char* node, const std::string& name, const char* nameSpace) {
        m_text += std::string("  <") + node + " Name=\"" + name + "\" NameSpace=\"" + nameSpace + "\">\n";
    }
    void Close(const char* node) { m_text += std::string("  </") + node + ">\n"; }
    bool IsBigEndian() const { return m_features.Transport() == ETransport::GigE; }

    void Root(const std::string& vendor, const std::string& model) {
        const bool isGigE = m_features.Transport() == ETransport::GigE;
        m_text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<RegisterDescription ModelName=\"" +
                 NameToken(model) + "\" VendorName=\"" + NameToken(vendor) +
                 "\" ToolTip=\"Virtual RGB-D camera\" StandardNameSpace=\"" + (isGigE ? "GEV" : "USB") +
                 "\" SchemaMajorVersion=\"1\" SchemaMinorVersion=\"1\" SchemaSubMinorVersion=\"0\" "
                 "MajorVersion=\"1\" MinorVersion=\"0\" SubMinorVersion=\"0\" ProductGuid=\"" +
                 (isGigE ? "3E0B6A5C-5B1D-4E0B-9C57-0A3D52474201" : "3E0B6A5C-5B1D-4E0B-9C57-0A3D52474204") +
                 "\" VersionGuid=\"7C1F9D42-8A36-4F6E-B1C0-0A3D52474210\" "
                 "xmlns=\"http://www.genicam.org/GenApi/Version_1_1\">\n";
    }

    void Categories() {
        std::vector<std::string> categories;
        for (const MappedFeature& feature : m_features.Features()) {
            const std::string category = feature.m_row->m_category;
            if (std::find(categories.begin(), categories.end(), category) == categories.end()) {
                categories.push_back(category);
            }
        }
        Open("Category", "Root", "Standard");
        for (const std::string& category : categories) {
            Element("pFeature", category);
        }
        Close("Category");
        for (const std::string& category : categories) {
            Open("Category", category, "Standard");
            for (const MappedFeature& feature : m_features.Features()) {
                if (category == feature.m_row->m_category) {
                    Element("pFeature", feature.m_row->m_name);
                }
            }
            Close("Category");
        }
    }

    // Texts and blocks of bytes are register nodes themselves.
    static bool IsItsOwnRegister(const FeatureRow& row) {
        return row.m_type == EFeatureType::String || row.m_type == EFeatureType::Register;
    }

    void Locks(const FeatureRow& row) {
        if (row.m_lock == ELock::WhileAcquiring) {
            Element("pIsLocked", "AcquisitionActiveReg");
        } else if (row.m_lock == ELock::WhileAutoExposure) {
            Element("pIsLocked", "ExposureAutoReg");
        }
    }

    void Selected(const FeatureRow& row) {
        for (const MappedFeature& other : m_features.Features()) {
            if (other.m_row->m_selector == row.m_id) {
                Element("pSelected", other.m_row->m_name);
            }
        }
    }

    void FeatureNode(const MappedFeature& feature) {
        const FeatureRow& row = *feature.m_row;
        if (IsItsOwnRegister(row)) {
            return;
        }
        const std::string name = row.m_name;
        const char* node = kNodeNames[static_cast<size_t>(row.m_type)];
        Open(node, name, "Standard");
        Element("ToolTip", row.m_tip);
        Element("Visibility", "Beginner");
        Locks(row);
        switch (row.m_type) {
        case EFeatureType::Integer:
            Element("pValue", name + "Reg");
            Element("Min", std::to_string(row.m_min));
            Maximum(row);
            Element("Inc", std::to_string(row.m_inc));
            Unit(row);
            break;
        case EFeatureType::Float:
            Element("pValue", name + "Reg");
            Element("Min", Real(row.m_floatMin));
            Element("Max", Real(row.m_floatMax));
            Unit(row);
            break;
        case EFeatureType::Enumeration:
            Entries(feature);
            Element("pValue", name + "Reg");
            break;
        case EFeatureType::Boolean:
            Element("pValue", name + "Reg");
            Element("OnValue", "1");
            Element("OffValue", "0");
            break;
        case EFeatureType::Command:
            Element("pValue", name + "Reg");
            Element("CommandValue", "1");
            break;
        case EFeatureType::String:
        case EFeatureType::Register:
            break;
        }
        Selected(row);
        Close(node);
    }

    void Unit(const FeatureRow& row) {
        if (*row.m_unit != '\0') {
            Element("Unit", row.m_unit);
        }
    }

    void Maximum(const FeatureRow& row) {
        const MappedFeature* maximum = row.m_maxOf == EFeature::None ? nullptr : m_features.Find(row.m_maxOf);
        if (maximum != nullptr) {
            Element("pMax", std::string(maximum->m_row->m_name) + "Reg");
        } else {
            Element("Max", std::to_string(row.m_max));
        }
    }

    static std::string AvailabilityName(const FeatureRow& row, const EnumEntry& entry) {
        return std::string(row.m_name) + entry.m_name + "Available";
    }

    void Entries(const MappedFeature& feature) {
        const FeatureRow& row = *feature.m_row;
        for (const EnumEntry& entry : m_features.EntriesOf(row)) {
            m_text += std::string("    <EnumEntry Name=\"") + entry.m_name + "\" NameSpace=\"Standard\">";
            if (entry.m_slots != UINT32_MAX) {
                m_text += "<pIsAvailable>" + AvailabilityName(row, entry) + "</pIsAvailable>";
            }
            m_text += "<Value>" + std::to_string(entry.m_value) + "</Value></EnumEntry>\n";
        }
    }

    // Entries that depend on what is selected ask for it.
    void AvailabilityNodes(const MappedFeature& feature) {
        const FeatureRow& row = *feature.m_row;
        for (const EnumEntry& entry : m_features.EntriesOf(row)) {
            if (entry.m_slots == UINT32_MAX) {
                continue;
            }
            std::string formula;
            for (uint32_t slot = 0; slot < feature.m_slots; ++slot) {
                if ((entry.m_slots >> slot & 1U) != 0) {
                    formula += (formula.empty() ? "(S = " : " || (S = ") + std::to_string(slot) + ")";
                }
            }
            Open("IntSwissKnife", AvailabilityName(row, entry), "Custom");
            m_text += std::string("    <pVariable Name=\"S\">") +
                      m_features.Find(row.m_selector)->m_row->m_name + "Reg</pVariable>\n";
            Element("Formula", formula);
            Close("IntSwissKnife");
        }
    }

    void RegisterNode(const MappedFeature& feature) {
        const FeatureRow& row = *feature.m_row;
        const char* node = "IntReg";
        if (row.m_type == EFeatureType::String) {
            node = "StringReg";
        } else if (row.m_type == EFeatureType::Register) {
            node = "Register";
        } else if (row.m_type == EFeatureType::Float) {
            node = "FloatReg";
        } else if (row.m_bits != 0) {
            node = "MaskedIntReg";
        }
        const bool isOwn = IsItsOwnRegister(row);
        Open(node, isOwn ? row.m_name : std::string(row.m_name) + "Reg", isOwn ? "Standard" : "Custom");
        if (isOwn) {
            Element("ToolTip", row.m_tip);
            Element("Visibility", "Beginner");
        }
        Element("Address", Hex(feature.m_address));
        if (feature.m_slots > 1) {
            const std::string selector = m_features.Find(row.m_selector)->m_row->m_name;
            m_text += "    <pIndex Offset=\"" + std::to_string(row.m_lengthBytes) + "\">" + selector +
                      "Reg</pIndex>\n";
        }
        Element("Length", std::to_string(row.m_lengthBytes));
        Element("AccessMode", AccessText(row));
        Element("pPort", "Device");
        Element("Cachable", "NoCache");
        if (!isOwn) {
            Layout(row);
        }
        Close(node);
    }

    static const char* AccessText(const FeatureRow& row) {
        // A field is written by reading its register first, also where the field is a command.
        if (row.m_access == EAccess::WriteOnly && row.m_bits == 0) {
            return "WO";
        }
        return row.m_access == EAccess::ReadOnly ? "RO" : "RW";
    }

    void Layout(const FeatureRow& row) {
        const bool isFloat = row.m_type == EFeatureType::Float;
        if (row.m_bits != 0) {
            // Big-endian registers count their bits from the most significant one.
            const uint32_t low = row.m_shift;
            const uint32_t high = row.m_shift + row.m_bits - 1;
            const uint32_t top = 8 * row.m_lengthBytes - 1;
            Element("LSB", std::to_string(IsBigEndian() ? top - low : low));
            Element("MSB", std::to_string(IsBigEndian() ? top - high : high));
        }
        if (!isFloat) {
            Element("Sign", "Unsigned");
        }
        Element("Endianess", IsBigEndian() ? "BigEndian" : "LittleEndian");
    }

    const CFeatureMap& m_features;
    std::string m_text;
};

} // namespace

std::string GenicamXml(const CFeatureMap& features, const std::string& vendor, const std::string& model) {
    return CXmlWriter(features).Write(vendor, model);
}

} // namespace ox3d
