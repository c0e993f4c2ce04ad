#pragma once

#include "http/partheader.h"

#include <string>
#include <string_view>

/// Takes the parts of a form as MultipartReader finds them. Every operation may throw Refusal to refuse the form.
class PartSink
{
public:
    virtual ~PartSink() = default;

    virtual void beginPart(const PartHeader &header) = 0;
    /// Called with the next bytes of the part's body, any number of times; never with none.
    virtual void partData(std::string_view bytes) = 0;
    virtual void endPart() = 0;
};

/// Reads a multipart form strictly, in pieces of any size, holding little more than one piece in memory.
///
/// Not the HTTP library's reader: that of cpp-httplib 0.11.4 loses the first part of a form whose boundary arrives in
/// two reads, takes bytes behind the end, and does not tell an empty file name from none.
///
/// The form has to begin with its boundary, lines have to end in CR LF, and behind the closing boundary there may be
/// one line end and nothing else. Everything else throws Refusal (400), and so do the parts' headers
/// (parsePartHeader()). Which parts a form has to have is the sink's business. After any exception the reader must not
/// be used any more.
class MultipartReader
{
public:
    /// \a boundary is the text that the Content-Type header names. \a sink has to outlive the reader.
    MultipartReader(const std::string &boundary, PartSink &sink);

    /// Takes the next bytes of the body.
    void feed(std::string_view bytes);

    /// To be called behind the last byte of the body: refuses a form whose closing boundary has not come.
    void finish();

private:
    enum class State { Beginning, BoundaryLine, Header, Body, Closed };

    bool step();
    bool readBeginning();
    bool readBoundaryLine();
    bool readHeader();
    bool readBody();
    void drop(std::size_t bytes);

    const std::string delimiter_; ///< CR LF, two dashes and the boundary: ends the body of a part
    PartSink &sink_;
    State state_ = State::Beginning;
    std::string buffer_;       ///< what has come and is not yet understood; before that, the line end of a delimiter
    std::size_t searched_ = 0; ///< bytes of the buffer in which the end of the header does not begin
};
