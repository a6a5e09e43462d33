#include "appliance/gzip.h"

#include <zlib.h>

#include <algorithm>
#include <new>

#include "base/failure.h"

namespace VBoxSim {

namespace {

constexpr std::size_t packedPiece = std::size_t(256) << 10;
constexpr std::size_t unpackedPiece = std::size_t(1) << 20;

Failure damagedData(const wchar_t* what)
{
    return Failure(Result::iprtError, std::wstring(L"The gzip data are damaged: ") + what);
}

class Gunzip
{
public:
    Gunzip(const ByteSource& source, const GunzipSink& sink) : source_(source), sink_(sink)
    {
        constexpr int gzipOnly = 16 + MAX_WBITS;
        if (inflateInit2(&stream_, gzipOnly) != Z_OK)
            throw std::bad_alloc();
    }
    ~Gunzip() { inflateEnd(&stream_); }
    Gunzip(const Gunzip&) = delete;
    Gunzip& operator=(const Gunzip&) = delete;

    void run()
    {
        while (fill()) {
            if (ended_ && !nextStream())
                return;
            inflatePiece();
        }
        if (!ended_)
            throw damagedData(L"they end too early");
    }

private:
    /// Whether there are bytes left to unpack.
    bool fill()
    {
        if (stream_.avail_in > 0)
            return true;
        const auto length = static_cast<std::size_t>(std::min<std::uint64_t>(packedPiece, source_.size() - place_));
        source_.readAt(place_, packed_.data(), length);
        place_ += length;
        stream_.next_in = packed_.data();
        stream_.avail_in = static_cast<uInt>(length);
        return length > 0;
    }

    /// Whether another stream follows; zeros up to the end are padding.
    bool nextStream()
    {
        while (fill() && *stream_.next_in == 0) {
            ++stream_.next_in;
            --stream_.avail_in;
        }
        if (stream_.avail_in == 0)
            return false;
        inflateReset(&stream_);
        ended_ = false;
        return true;
    }

    void inflatePiece()
    {
        stream_.next_out = unpacked_.data();
        stream_.avail_out = static_cast<uInt>(unpacked_.size());
        const int result = inflate(&stream_, Z_NO_FLUSH);
        if (result != Z_OK && result != Z_STREAM_END && result != Z_BUF_ERROR)
            throw damagedData(L"they cannot be unpacked");
        const std::size_t length = unpacked_.size() - stream_.avail_out;
        if (length > 0)
            sink_(unpacked_.data(), length, place_ - stream_.avail_in);
        ended_ = result == Z_STREAM_END;
    }

    const ByteSource& source_;
    const GunzipSink& sink_;
    std::uint64_t place_ = 0;
    bool ended_ = false;
    z_stream stream_{};
    std::vector<std::uint8_t> packed_ = std::vector<std::uint8_t>(packedPiece);
    std::vector<std::uint8_t> unpacked_ = std::vector<std::uint8_t>(unpackedPiece);
};

} // namespace

void gunzip(const ByteSource& source, const GunzipSink& sink)
{
    Gunzip(source, sink).run();
}

} // namespace VBoxSim
