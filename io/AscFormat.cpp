// ASC point clouds: one point per line, "x y z" or "x y z nx ny nz", numbers
// separated by blanks, commas or semicolons. Lines starting with '#' or "//"
// are comments. Every point line must have the column count of the first.
#include "io/FileData.h"
#include "io/TextScan.h"

namespace ORVO {

int _ParseAscCloud(const char* data, size_t size, CloudFileData& cloud, std::string& error) {
    cloud = CloudFileData();
    const char* p = data;
    const char* end = data + size;
    if (_HasNulByte(p, end)) {
        error = "binary data in a text file";
        return STATUS_FAILED;
    }
    cloud.positions.reserve(size / 32);
    size_t line = 0;
    int columns = 0;
    const char* separators = ",;";
    while (p < end) {
        ++line;
        const char* lineEnd = _LineEnd(p, end);
        const char* q = _SkipBlanks(p, lineEnd);
        p = lineEnd < end ? lineEnd + 1 : end;
        if (q >= lineEnd || *q == '#' || (lineEnd - q >= 2 && q[0] == '/' && q[1] == '/')) continue;
        double values[6];
        int count = 0;
        for (;;) {
            while (q < lineEnd && (_IsBlank(*q) || *q == ',' || *q == ';')) ++q;
            if (q >= lineEnd) break;
            if (count == 6 || !_ReadReal(q, lineEnd, values[count], separators)) {
                error = "a point line must hold 3 or 6 numbers (line " + std::to_string(line) + ")";
                cloud = CloudFileData();
                return STATUS_FAILED;
            }
            ++count;
        }
        if (count != 3 && count != 6) {
            error = "a point line must hold 3 or 6 numbers (line " + std::to_string(line) + ")";
            cloud = CloudFileData();
            return STATUS_FAILED;
        }
        if (columns == 0) columns = count;
        if (count != columns) {
            error = "line " + std::to_string(line) + " has " + std::to_string(count) + " numbers, the first point had " +
                    std::to_string(columns);
            cloud = CloudFileData();
            return STATUS_FAILED;
        }
        cloud.positions.emplace_back(values[0], values[1], values[2]);
        if (count == 6) cloud.normals.emplace_back(values[3], values[4], values[5]);
    }
    int status = _ValidateCloudData(cloud, error);
    if (status != STATUS_SUCCESS) cloud = CloudFileData();
    return status;
}

void _FormatAscCloud(const CloudFileData& cloud, std::string& out) {
    const bool withNormals = cloud.normals.size() == cloud.positions.size() && !cloud.normals.empty();
    out.reserve(out.size() + cloud.positions.size() * (withNormals ? 120 : 60));
    for (size_t i = 0; i < cloud.positions.size(); ++i) {
        for (int k = 0; k < 3; ++k) {
            if (k) out += ' ';
            _AppendReal(out, cloud.positions[i][k]);
        }
        for (int k = 0; withNormals && k < 3; ++k) {
            out += ' ';
            _AppendReal(out, cloud.normals[i][k]);
        }
        out += '\n';
    }
}

}  // namespace ORVO
