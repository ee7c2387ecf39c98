#pragma once
#include "quicktime/atoms/AtomParser.h"
#include "quicktime/atoms/MetadataAtoms.h"
#include "quicktime/read/Metadata.h"

// The parser tree of moov: one parser a level, each filing what it finds in
// the movie model or the track it builds. Children not named are ignored.
namespace Corvidane::QuickTime {

class AtomParser_moov : public AtomParser {
public:
    explicit AtomParser_moov(Metadata& movie) : m_movie(movie) {}
    CvResult OnAtom(const uint32_t* type, const unsigned char* data, size_t length) override;

private:
    void collectUserData(const unsigned char* data, size_t length);
    Metadata& m_movie;
};

// Needs the movie header, for the movie's time scale; appends the track when
// it has both a track and a media header, and fails the movie otherwise.
class AtomParser_trak : public AtomParser {
public:
    explicit AtomParser_trak(Metadata& movie) : m_movie(movie) {}
    CvResult OnParseStart() override;
    CvResult OnAtom(const uint32_t* type, const unsigned char* data, size_t length) override;
    CvResult OnParseEnd() override;

private:
    Metadata& m_movie;
    std::unique_ptr<Metadata_Track> m_track;
};

class AtomParser_mdia : public AtomParser {
public:
    explicit AtomParser_mdia(Metadata_Track& track) : m_track(track) {}
    CvResult OnAtom(const uint32_t* type, const unsigned char* data, size_t length) override;

private:
    Metadata_Track& m_track;
};

class AtomParser_minf : public AtomParser {
public:
    explicit AtomParser_minf(Metadata_Track& track) : m_track(track) {}
    CvResult OnAtom(const uint32_t* type, const unsigned char* data, size_t length) override;

private:
    Metadata_Track& m_track;
};

// dref: the track's essence file, when an alias record names one.
class AtomParser_dinf : public AtomParser {
public:
    explicit AtomParser_dinf(Metadata_Track& track) : m_track(track) {}
    CvResult OnAtom(const uint32_t* type, const unsigned char* data, size_t length) override;

private:
    Metadata_Track& m_track;
};

// The sample tables. The first stsd, stts, ctts, stsc, stsz, stco and co64
// win; each stss, stps and sdtp replaces the one before.
class AtomParser_stbl : public AtomParser {
public:
    explicit AtomParser_stbl(Metadata_Track& track) : m_track(track) {}
    CvResult OnAtom(const uint32_t* type, const unsigned char* data, size_t length) override;

private:
    template <typename List>
    void readIndexList(std::unique_ptr<List>& list, const unsigned char* data, size_t length);
    Metadata_Track& m_track;
};

// meta of the QuickTime layout: hdlr, keys, ilst.
class AtomParser_meta : public AtomParser {
public:
    explicit AtomParser_meta(Metadata& movie) : m_movie(movie) {}
    CvResult OnAtom(const uint32_t* type, const unsigned char* data, size_t length) override;

private:
    Metadata& m_movie;
    Metadata_keys m_keys;
};

// ilst: each item's type is its key's index, from 1; its value goes to the
// JSON builder, or to the binary map when it has no JSON form.
class AtomParser_ilst : public AtomParser {
public:
    AtomParser_ilst(Metadata& movie, const Metadata_keys& keys) : m_movie(movie), m_keys(keys) {}
    CvResult OnAtom(const uint32_t* type, const unsigned char* data, size_t length) override;

private:
    Metadata& m_movie;
    const Metadata_keys& m_keys;
};

} // namespace Corvidane::QuickTime
