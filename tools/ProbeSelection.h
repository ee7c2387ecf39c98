#pragma once
#include <set>
#include <string>

// What of a probe to show, after ffprobe's -select_streams and -show_entries.
class ProbeSelection {
public:
    enum Section { Streams, Format, Packets, StreamTags, FormatTags, SectionCount };

    // Streams by kind (v, a, d; s and t, which no file of ours has), by
    // number among those of a kind ("v:0"), or by index ("1"). False with
    // `refusal` set for a specifier it doesn't take.
    bool selectStreams(const std::string& spec, std::string& refusal);
    // Sections and their keys, "stream=index,codec_type:format=duration:
    // stream_tags"; a section named without keys shows all of them. Only the
    // sections named are shown (packets also with --packets).
    bool showEntries(const std::string& spec, std::string& refusal);

    // Whether a stream is selected, by its index, the first letter of its
    // codec_type, and its number among the streams of that type.
    bool selects(int index, char kind, int numberOfKind) const;
    // Whether a section is shown at all; `packets` is whether --packets asked.
    bool shows(Section section, bool packets) const;
    // Whether a key of a shown section is shown.
    bool shows(Section section, const std::string& key) const;

private:
    struct Entries {
        bool named = false;
        std::set<std::string> keys;  // empty for every key
    };
    char m_kind = 0;           // 0 for every kind
    int m_number = -1;         // of the kind, or the index when m_kind is 0; -1 for all
    bool m_entriesGiven = false;
    Entries m_entries[SectionCount];
};
