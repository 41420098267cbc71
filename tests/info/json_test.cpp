// What JSON and CSV make of the numbers and bytes of a file.
#include "json.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>

#include "number_text.h"

namespace {

using namespace velorix::info;

/// What a stream writes of an object with these members and a list of these rows.
std::string written(const Json& members, const std::vector<Json>& rows) {
    char* text = nullptr;
    size_t size = 0;
    FILE* out = open_memstream(&text, &size);
    JsonStream json(out);
    json.begin();
    json.begin_object(members);
    json.begin_list("rows");
    for (const Json& row : rows) json.row(row);
    json.end_list();
    json.end_object();
    json.end();
    fclose(out);
    std::string copy = text;
    free(text);
    return copy;
}

TEST(Json, WritesNumbersAsTheyAreStored) {
    const std::pair<Json, const char*> cases[] = {
        {json_number(750.27155f), "750.27155"},
        {json_number(-77.74756), "-77.74756"},
        {json_number(-3.0), "-3"},
        {json_number(1e300), "1e+300"},
        {json_number(std::nextafterf(1.0f, 2.0f)), "1.0000001"},
        {json_number(HUGE_VAL), "null"},
        {json_number(std::nanf("")), "null"},
        {Json(12), "12"},
        {json_text("\xEF\xB7\x90[7], 8"), "\"\xEF\xBF\xBD[7], 8\""},
    };
    for (const auto& [value, text] : cases)
        EXPECT_EQ(written({{"a", value}}, {}),
                  std::string("[\n  {\n    \"a\": ") + text + ",\n    \"rows\": []\n  }\n]\n");
}

TEST(Json, EscapesWhatATerminalTakesForACommand) {
    EXPECT_EQ(
        written({{"a", json_text("\x1b[31m \x7F \xC2\x9B[1m \xC2\xA0 \xC3\xA9 \xFF")}},
                {{{"b", json_text("\xC2\x80")}}, {{"b", json_number(1.5)}}}),
        "[\n  {\n    \"a\": \"\\u001b[31m \\u007f \\u009b[1m \xC2\xA0 \xC3\xA9 \xEF\xBF\xBD\",\n"
        "    \"rows\": [\n      {\n        \"b\": \"\\u0080\"\n      },\n"
        "      {\n        \"b\": 1.5\n      }\n    ]\n  }\n]\n");
}

}  // namespace
