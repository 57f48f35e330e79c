// SPDX-License-Identifier: GPL-3.0-or-later
#include "storage/lzfse/Decoder.h"

#include <array>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <openssl/evp.h>

namespace penmark::lzfse {
namespace {

const std::string folder = PENMARK_TEST_DATA "/lzfse/";

std::string readFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << path;
    return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<std::vector<std::string>> readTable(const std::string& name)
{
    std::istringstream lines(readFile(folder + name));
    std::vector<std::vector<std::string>> rows;
    std::string line;
    for (std::getline(lines, line); std::getline(lines, line);) {  // the first names the columns
        std::istringstream fields(line);
        std::vector<std::string>& row = rows.emplace_back();
        for (std::string field; std::getline(fields, field, '\t');)
            row.push_back(field);
        row.resize(4);
    }
    return rows;
}

std::string sha256(const std::string& bytes)
{
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned size = 0;
    EXPECT_EQ(EVP_Digest(bytes.data(), bytes.size(), digest.data(), &size, EVP_sha256(), nullptr), 1);
    std::string text;
    for (unsigned i = 0; i < size; ++i) {
        text += "0123456789abcdef"[digest[i] >> 4];
        text += "0123456789abcdef"[digest[i] & 15];
    }
    return text;
}

std::string fromHexadecimal(const std::string& digits)
{
    std::string bytes;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2)
        bytes += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
    return bytes;
}

TEST(Vectors, DecodeToTheirTextAndObeyTheLimit)
{
    const auto table = readTable("good.tsv");
    EXPECT_EQ(table.size(), 123U);
    Decoder decoder;
    std::string out;
    for (const auto& row : table) {
        SCOPED_TRACE(row[0]);
        const std::string stream = readFile(folder + "good/" + row[0] + ".lzfse");
        const std::size_t size = std::stoul(row[1]);
        EXPECT_TRUE(decoder.decode(stream, size, out));
        EXPECT_EQ(out.size(), size);
        EXPECT_EQ(sha256(out), row[2]);
        if (size == 0)
            continue;
        EXPECT_FALSE(decoder.decode(stream, size - 1, out));
        EXPECT_TRUE(out.empty());
        std::string tooSmall(size - 1, '\0');
        EXPECT_FALSE(decoder.decode(stream, tooSmall));
    }
}

TEST(Vectors, AreRefusedWhenDamaged)
{
    constexpr std::size_t limit = 100'000;
    const auto table = readTable("bad.tsv");
    EXPECT_EQ(table.size(), 571U);
    Decoder decoder;
    std::string out;
    for (const auto& row : table) {
        SCOPED_TRACE(row[0] + ": " + row[2]);
        const bool decoded = decoder.decode(fromHexadecimal(row[3]), limit, out);
        if (row[1] == "refuse") {
            EXPECT_FALSE(decoded);
        }
        EXPECT_LE(out.size(), limit);
        // The way into a caller's room must judge alike, though it does not look at the sizes first.
        std::string room(limit, '\0');
        const auto size = decoder.decode(fromHexadecimal(row[3]), room);
        EXPECT_EQ(size.has_value(), decoded);
        EXPECT_EQ(room.substr(0, size.value_or(0)), out);
    }
}

}  // namespace
}  // namespace penmark::lzfse
