// Description.cpp - walks the whole description once, at opening, and computes no value of it but dynamic lengths.
#include "providers/aravis/Description.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <string_view>
#include <vector>

#include "providers/aravis/ArvError.h"

namespace ox3d {
namespace {

// Aravis allocates a register's length before it reads, twice for a text, and keeps it; without memory it ends the
// process.
constexpr uint64_t kMaxRegisterBytes = uint64_t{64} << 20;
constexpr uint64_t kMaxAllRegistersBytes = uint64_t{256} << 20;
// Aravis follows references by recursion.
constexpr size_t kMaxReferences = 64;
// For one value. Nodes that are referred to several times are asked as often: two each double the number.
constexpr size_t kMaxNodesAsked = 10000;

// Of a description that is cut off Aravis takes what there is.
bool IsWhole(ArvDevice* device) {
    size_t lengthBytes = 0;
    const char* xml = arv_device_get_genicam_xml(device, &lengthBytes);
    return xml != nullptr && arv_device_get_genicam(device) != nullptr &&
           std::string_view(xml, lengthBytes).rfind("</RegisterDescription") != std::string_view::npos;
}

// Whether the value of a node is computed from the one that is referred to. The others are only asked for their value
// in turn, so a circle needs these.
bool IsPartOfValue(ArvGcPropertyNodeType type) {
    switch (type) {
    case ARV_GC_PROPERTY_NODE_TYPE_P_FEATURE:
    case ARV_GC_PROPERTY_NODE_TYPE_P_SELECTED:
    case ARV_GC_PROPERTY_NODE_TYPE_P_INVALIDATOR:
    case ARV_GC_PROPERTY_NODE_TYPE_P_PORT:
    case ARV_GC_PROPERTY_NODE_TYPE_P_MINIMUM:
    case ARV_GC_PROPERTY_NODE_TYPE_P_MAXIMUM:
    case ARV_GC_PROPERTY_NODE_TYPE_P_INCREMENT:
    case ARV_GC_PROPERTY_NODE_TYPE_P_IS_IMPLEMENTED:
    case ARV_GC_PROPERTY_NODE_TYPE_P_IS_AVAILABLE:
    case ARV_GC_PROPERTY_NODE_TYPE_P_IS_LOCKED:
        return false;
    default:
        return true;
    }
}

class CDescriptionCheck {
public:
    bool Run(ArvDomNode* root) {
        Collect(root);
        if (!m_areEntriesNamed) {
            return false;
        }
        for (const auto& entry : m_references) {
            if (!IsFinite(entry.first, 0)) {
                return false;
            }
        }
        // Only now, since a length may be computed as well.
        uint64_t allBytes = 0;
        for (ArvGcRegister* node : m_registers) {
            CArvError error;
            const uint64_t lengthBytes = arv_gc_register_get_length(node, error.Out());
            if (error.IsSet()) {
                continue;
            }
            if (lengthBytes > kMaxRegisterBytes || (allBytes += lengthBytes) > kMaxAllRegistersBytes) {
                return false;
            }
        }
        return true;
    }

private:
    // The tree is as deep as the text says, so it is walked without recursion.
    void Collect(ArvDomNode* root) {
        struct Step {
            ArvDomNode* m_node;
            ArvDomNode* m_owner; // of the references below
        };
        std::vector<Step> open{{root, nullptr}};
        while (!open.empty()) {
            const auto [node, owner] = open.back();
            open.pop_back();
            if (ARV_IS_GC_ENUM_ENTRY(node)) {
                const char* const name = arv_gc_feature_node_get_name(ARV_GC_FEATURE_NODE(node));
                m_areEntriesNamed = m_areEntriesNamed && name != nullptr;
            }
            if (ARV_IS_GC_REGISTER(node)) {
                m_registers.push_back(ARV_GC_REGISTER(node));
            }
            if (owner != nullptr && ARV_IS_GC_PROPERTY_NODE(node)) {
                AddReference(owner, ARV_GC_PROPERTY_NODE(node));
            }
            ArvDomNode* const below = ARV_IS_GC_FEATURE_NODE(node) ? node : owner;
            if (below == node && owner != nullptr) {
                m_references[owner].push_back(
                    node); // a formula inside a register, an entry inside an enumeration
            }
            for (ArvDomNode* child = arv_dom_node_get_first_child(node); child != nullptr;
                 child = arv_dom_node_get_next_sibling(child)) {
                open.push_back({child, below});
            }
        }
    }

    void AddReference(ArvDomNode* owner, ArvGcPropertyNode* property) {
        if (IsPartOfValue(arv_gc_property_node_get_node_type(property))) {
            ArvGcNode* const linked = arv_gc_property_node_get_linked_node(property);
            if (linked != nullptr) {
                m_references[owner].push_back(ARV_DOM_NODE(linked));
            }
        }
    }

    // Whether following references from the node comes to an end, and soon.
    bool IsFinite(ArvDomNode* node, size_t depth) {
        const auto [place, isNew] = m_spans.try_emplace(node);
        if (!isNew) {
            return place->second.m_height != kOpen && depth + place->second.m_height <= kMaxReferences;
        }
        Span span{0, 1};
        const auto references = m_references.find(node);
        if (references != m_references.end()) {
            for (ArvDomNode* next : references->second) {
                if (depth >= kMaxReferences || !IsFinite(next, depth + 1)) {
                    return false;
                }
                const Span& below = m_spans[next];
                span.m_height = std::max(span.m_height, below.m_height + 1);
                span.m_nodesAsked += below.m_nodesAsked;
                if (span.m_nodesAsked > kMaxNodesAsked) {
                    return false;
                }
            }
        }
        m_spans[node] = span;
        return true;
    }

    static constexpr size_t kOpen = SIZE_MAX; // on the way that is being followed
    struct Span {
        size_t m_height = kOpen;
        size_t m_nodesAsked = 0;
    };
    std::map<ArvDomNode*, std::vector<ArvDomNode*>> m_references;
    std::map<ArvDomNode*, Span> m_spans;
    std::vector<ArvGcRegister*> m_registers;
    bool m_areEntriesNamed = true; // of enumerations: Aravis hands their names out without a look
};

} // namespace

bool IsUsableDescription(ArvDevice* device) {
    if (!IsWhole(device)) {
        return false;
    }
    ArvGc* const description = arv_device_get_genicam(device);
    ArvDomElement* const root = arv_dom_document_get_document_element(ARV_DOM_DOCUMENT(description));
    return root != nullptr && CDescriptionCheck().Run(ARV_DOM_NODE(root));
}

} // namespace ox3d
