#include "tools/ProbeSelection.h"

#include <cstdint>

#include "tools/CommandLine.h"

namespace {

struct SectionName {
    const char* name;
    ProbeSelection::Section section;
};

const SectionName sectionNames[] = {
    {"stream", ProbeSelection::Streams},          {"format", ProbeSelection::Format},
    {"packet", ProbeSelection::Packets},          {"stream_tags", ProbeSelection::StreamTags},
    {"format_tags", ProbeSelection::FormatTags},
};

// The tags of a section whose keys are all shown come along, as in ffprobe.
ProbeSelection::Section ownerOfTags(ProbeSelection::Section tags)
{
    return tags == ProbeSelection::StreamTags ? ProbeSelection::Streams : ProbeSelection::Format;
}

} // namespace

bool ProbeSelection::selectStreams(const std::string& spec, std::string& refusal)
{
    const std::string kind = spec.substr(0, spec.find(':'));
    const std::string number = spec.find(':') == std::string::npos ? std::string() : spec.substr(spec.find(':') + 1);
    unsigned value = 0;
    if (kind.size() == 1 && std::string("vVasdt").find(kind[0]) != std::string::npos &&
        (number.empty() || parseWholeNumber(number, value))) {
        m_kind = kind[0] == 'V' ? 'v' : kind[0];
        m_number = number.empty() ? -1 : int(value);
        return true;
    }
    if (number.empty() && parseWholeNumber(kind, value) && value <= unsigned(INT32_MAX)) {
        m_kind = 0;
        m_number = int(value);
        return true;
    }
    refusal = "-select_streams takes v, a, d, TYPE:N or a stream index, not '" + spec + "'";
    return false;
}

bool ProbeSelection::showEntries(const std::string& spec, std::string& refusal)
{
    m_entriesGiven = true;
    for (size_t start = 0; start <= spec.size();) {
        size_t end = spec.find(':', start);
        end = end == std::string::npos ? spec.size() : end;
        const std::string entry = spec.substr(start, end - start);
        const size_t equals = entry.find('=');
        const std::string name = entry.substr(0, equals);
        const SectionName* known = nullptr;
        for (const SectionName& section : sectionNames)
            if (name == section.name)
                known = &section;
        if (!known) {
            refusal = "-show_entries: no section '" + name + "' (stream, format, packet, stream_tags, format_tags)";
            return false;
        }
        Entries& entries = m_entries[known->section];
        entries.named = true;
        for (size_t at = equals == std::string::npos ? entry.size() : equals + 1; at < entry.size();) {
            size_t comma = entry.find(',', at);
            comma = comma == std::string::npos ? entry.size() : comma;
            if (comma > at)
                entries.keys.insert(entry.substr(at, comma - at));
            at = comma + 1;
        }
        start = end + 1;
    }
    return true;
}

bool ProbeSelection::selects(int index, char kind, int numberOfKind) const
{
    if (m_kind == 0)
        return m_number < 0 || index == m_number;
    return kind == m_kind && (m_number < 0 || numberOfKind == m_number);
}

bool ProbeSelection::shows(Section section, bool packets) const
{
    if (section == Packets && packets)
        return true;
    if (!m_entriesGiven)
        return section != Packets;
    if (section == StreamTags || section == FormatTags) {
        const Entries& owner = m_entries[ownerOfTags(section)];
        return m_entries[section].named || (owner.named && owner.keys.empty());
    }
    return m_entries[section].named;
}

bool ProbeSelection::shows(Section section, const std::string& key) const
{
    const Entries& entries = m_entries[section];
    return !m_entriesGiven || entries.keys.empty() || entries.keys.count(key) != 0;
}
