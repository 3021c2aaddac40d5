#include "contract/failing.h"

#include <clocale>
#include <cstdlib>
#include <map>

#include "zynkconv.h"
#include "zynkplat.h"

namespace {

TEST(CodePage, HasNamesAndIsKnownByThoseOfCodesets) {
    const auto names = Rows<unsigned short, std::string>(
        "1200 UCS-2  1208 UTF-8  7 KOR-07  99 KOR-099  100 KOR-100  9999 KOR-9999  10000 KOR10000");
    for (const auto& [ccsid, name] : names)
        EXPECT_EQ(Bytes(ZynConverter::CodePageAsString(ccsid)), name);
    EXPECT_EQ(Bytes(ZynConverter::CodePageAsAlternativeIconvString(1208)), "KOR-1208");
    const auto codesets = Rows<std::string, unsigned short>(
        "cp1252 1252  IBM037 37  WINDOWS-1250 1250  UTF-8 1208  SHIFT_JIS 932  WINDOWS-31J 932 "
        "GBK 936  BIG5 950  EUC-JP 33722  EUC-KR 970  GB18030 1392  ANSI_X3.4-1968 819 "
        "US-ASCII 819  ISO-8859-1 819  ISO-8859-15 923  ISO-8859-2 912  CP65535 65535 "
        "CP65536 819  CP4294968548 819  CP 819  nothing 819");
    for (const auto& [codeset, codePage] : codesets)
        EXPECT_EQ(zynkplat::CodePageOfCodeset(codeset.c_str()), codePage) << codeset;
}

TEST(CodePage, OfTheProcessIsTakenOnceFromTheLocaleOfItsUser) {
    const std::map<std::string, unsigned short> locales = {{"C", 819},
                                                           {"de_DE.CP1252", 1252},
                                                           {"de_DE.ISO-8859-1", 819},
                                                           {"de_DE.ISO-8859-15", 923},
                                                           {"de_DE.UTF-8", 1208},
                                                           {"ja_JP.SJIS", 943},
                                                           {"ko_KR.EUC-KR", 970},
                                                           {"zh_CN.GBK", 1386}};
    const std::string own = std::setlocale(LC_ALL, nullptr);
    std::setlocale(LC_ALL, "C");
    EXPECT_EQ(ZynConverter::GetCurrentOSCodePage(), locales.at(own));
    EXPECT_EQ(std::setlocale(LC_ALL, nullptr), own);
    for (const auto& [locale, codePage] : locales) {
        EXPECT_NE(std::setlocale(LC_ALL, locale.c_str()), nullptr);
        EXPECT_EQ(ZynConverter::GetANSICodePage(), codePage) << locale;
        EXPECT_EQ(ZynConverter::GetOEMCodePage(), codePage) << locale;
        EXPECT_EQ(ZynConverter::GetCurrentOSCodePage(), locales.at(own));
    }
    std::setlocale(LC_ALL, own.c_str());
    setenv("ZYN_CONSOLE_CODESET", "GBK", 1);
    EXPECT_EQ(ZynConverter::GetOEMCodePage(), 1386);
    unsetenv("ZYN_CONSOLE_CODESET");
}

} // namespace
