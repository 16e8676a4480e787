#include "ZNPlatform/Foundation/NSURL.h"

#include <gtest/gtest.h>

#include <sstream>

#include "ZNPlatform/Foundation/Format.h"

namespace {

TEST(NSURL, SplitsWhatIsWellFormed) {
  const std::pair<const char*, const char*> table[] = {
      {"https://user:pw@example.com:8080/a/b;c?x=1&y=?/#frag?", "https|example.com|/a/b;c|x=1&y=?/"},
      {"http://[2001:db8::1]:80/", "http|2001:db8::1|/|"},
      {"http://[::1]", "http|::1||"},
      {"file:///tmp/x%20y", "file||/tmp/x%20y|"},
      {"mailto:a@b.c", "mailto||a@b.c|"},
      {"myapp+v1.0://open?to=http://x/", "myapp+v1.0|open||to=http://x/"},
      {"//host/path", "|host|/path|"},
      {"relative/path:with-colon?q", "||relative/path:with-colon|q"},
      {"http://a:@b:/", "http|b|/|"},
  };
  for (const auto& [text, parts] : table) {
    const auto url = NSURL::URLWithString(text);
    ASSERT_TRUE(url) << text;
    EXPECT_EQ(url->absoluteString(), text);
    EXPECT_EQ(zn::format("%@|%@|%@|%@", url->scheme(), url->host(), url->path(), url->query()), parts) << text;
  }
}

TEST(NSURL, RefusesWhatIsMalformed) {
  std::istringstream texts(
      "http://a/% http://a/%2 http://a/%2g http://a?[b] http://a#b#c http://[::1 http://::1] http://[zz]/ "
      "http://[::1]x/ http://x[::1]/ http://a:80:90/ http://a:8o/ http://a@b@c/ :no-scheme 1http://a ht_tp://a");
  for (std::string text; texts >> text;) EXPECT_FALSE(NSURL::URLWithString(text)) << text;
  for (const char* text : {"", " http://a", "first:seg ment", "http://\xE2\x82"}) {
    EXPECT_FALSE(NSURL::URLWithString(text)) << text;
  }
  for (const char character : std::string_view(" \n\x01\x7F\xFF<>\"{}|\\^`[]\0", 17)) {
    EXPECT_FALSE(NSURL::URLWithString(std::string("http://a/") + character)) << character;
  }
}

TEST(NSURL, EncodesCharactersBeyondAscii) {
  const auto url = NSURL::URLWithString("https://münchen.example/straße?q=€");
  ASSERT_TRUE(url);
  EXPECT_EQ(url->absoluteString(), "https://m%C3%BCnchen.example/stra%C3%9Fe?q=%E2%82%AC");
  EXPECT_EQ(url->query(), "q=%E2%82%AC");
}

}  // namespace
