// The OBJ of a page-mode atlas: one group and material per page, so that a viewer or
// baker knows which texture each face samples.
#include "Qarnuv.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>

namespace qarnuv {

std::string PagePreviewPath(const std::string& path, int page) {
    const std::filesystem::path p(path);
    std::filesystem::path named = p.parent_path() / (p.stem().string() + "_page" + std::to_string(page));
    named += p.extension();
    return named.string();
}

std::vector<std::vector<int>> FacesByPage(const std::vector<int>& facePages, int pages) {
    std::vector<std::vector<int>> faces(static_cast<size_t>(std::max(pages, 0)));
    for (size_t f = 0; f < facePages.size(); ++f) {
        const int page = facePages[f];
        if (page >= 0 && page < pages) faces[static_cast<size_t>(page)].push_back(static_cast<int>(f));
    }
    return faces;
}

bool WritePagedObj(const std::string& path, const ORVO::TriMesh& mesh, const UnwrapOutcome& outcome,
                   const std::string& previewPath, std::string& error) {
    const std::filesystem::path objPath(path);
    std::filesystem::path mtlPath = objPath;
    mtlPath.replace_extension(".mtl");
    std::ofstream mtl(mtlPath);
    for (int page = 0; page < outcome.pages; ++page) {
        mtl << "newmtl page_" << page << "\n";
        if (!previewPath.empty())
            mtl << "map_Kd "
                << std::filesystem::path(PagePreviewPath(previewPath, page)).lexically_proximate(objPath.parent_path()).string()
                << "\n";
    }
    if (!mtl) {
        error = mtlPath.string() + ": cannot be written";
        return false;
    }
    std::ofstream obj(path);
    obj << "mtllib " << mtlPath.filename().string() << "\n";
    char line[128];
    for (int v = 0; v < mesh.GetVertexCount(); ++v) {
        const ORVO::Vector3 p = mesh.GetVertexCoord(v);
        std::snprintf(line, sizeof(line), "v %.17g %.17g %.17g\n", p.x, p.y, p.z);
        obj << line;
    }
    for (size_t i = 0; i + 1 < outcome.texCoords.size(); i += 2) {
        std::snprintf(line, sizeof(line), "vt %.17g %.17g\n", outcome.texCoords[i], outcome.texCoords[i + 1]);
        obj << line;
    }
    const std::vector<std::vector<int>> pageFaces = FacesByPage(outcome.facePages, outcome.pages);
    for (int page = 0; page < outcome.pages; ++page) {
        obj << "g page_" << page << "\nusemtl page_" << page << "\n";
        for (int f : pageFaces[static_cast<size_t>(page)]) {
            int ids[3];
            mesh.GetTriangleVertexIds(f, ids);
            obj << "f";
            for (int c = 0; c < 3; ++c) obj << ' ' << ids[c] + 1 << '/' << outcome.faceTexIds[3 * f + c] + 1;
            obj << "\n";
        }
    }
    if (!obj) {
        error = path + ": cannot be written";
        return false;
    }
    return true;
}

}  // namespace qarnuv
