/** @file MultipartTest.cpp  Multipart bodies, however their bytes are cut. */
#include <gtest/gtest.h>

#include "MultipartReader.h"

using torvosim::Headers;
using torvosim::MultipartReader;

namespace {

struct Recorder final : MultipartReader::Listener {
    void partBegins(const Headers& headers) override
    {
        text +=
            '[' + torvosim::dispositionParameter(torvosim::headerValue(headers, "content-disposition"), "name") + ':';
    }
    void        partData(std::string_view data) override { text += data; }
    void        partEnds() override { text += ']'; }
    std::string text;
};

constexpr const char kBody[] =
    "preamble\r\n--B\r\nContent-Disposition: form-data; name=\"a\"; filename=\"f\"\r\n\r\none\r\n--\r\n-B\r\n"
    "\r\n--B\r\ncontent-disposition: form-data; name=b\r\n\r\n\r\n--B--\r\nepilogue";

class MultipartCut : public testing::TestWithParam<std::size_t> {};

TEST_P(MultipartCut, MakesNoDifference)
{
    Recorder          recorder;
    MultipartReader   reader("B", recorder);
    const std::string body = kBody;
    for (std::size_t at = 0; at < body.size(); at += GetParam()) EXPECT_TRUE(reader.feed(body.substr(at, GetParam())));
    EXPECT_TRUE(reader.complete());
    EXPECT_EQ(recorder.text, "[a:one\r\n--\r\n-B\r\n][b:]");
}

INSTANTIATE_TEST_SUITE_P(Pieces, MultipartCut, testing::Values(1, 2, 3, 7, 64, 10000));

TEST(Multipart, IsNotCompleteBeforeItsLastDelimiter)
{
    Recorder          recorder;
    MultipartReader   reader("B", recorder);
    const std::string body = kBody;
    EXPECT_TRUE(reader.feed(body.substr(0, body.find("--B--") + 4)));
    EXPECT_FALSE(reader.complete());
}

TEST(Multipart, RefusesWhatIsNotAForm)
{
    Recorder        recorder;
    MultipartReader glued("B", recorder);
    EXPECT_FALSE(glued.feed("--Bxx"));
    MultipartReader endless("B", recorder);
    EXPECT_FALSE(endless.feed("--B\r\n" + std::string(20000, 'h')));
    EXPECT_EQ(recorder.text, "");
}

struct Type {
    const char* value;
    const char* boundary;
};
class Boundary : public testing::TestWithParam<Type> {};

TEST_P(Boundary, StandsInTheContentType)
{
    EXPECT_EQ(torvosim::multipartBoundary(GetParam().value), GetParam().boundary);
}

INSTANTIATE_TEST_SUITE_P(Types, Boundary,
                         testing::Values(Type{"multipart/form-data; boundary=abc", "abc"},
                                         Type{"Multipart/Form-Data; charset=x; Boundary=\"a b;c\"", "a b;c"},
                                         Type{"multipart/form-data", ""}, Type{"application/json; boundary=abc", ""},
                                         Type{"multipart/form-data; boundary=", ""}));

}  // namespace
