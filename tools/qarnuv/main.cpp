// qarnuv: the command-line face of the library.
//   qarnuv unwrap IN OUT [--charts N | --max-stretch S | --auto] [--resolution R] [--gap T]
//                        [--threads N] [--preview atlas.png] [--json]
//                        [--no-weld] [--no-orient]
//                        [--texels-per-unit D [--max-pages N]]
//   qarnuv stats ATLAS [--json]
//   qarnuv replay FILE.dump [--out OUT.obj|.ply] [--inputs IN.obj|.ply] [--json]
//   qarnuv batch IN_DIR OUT_DIR [--jobs N] [--format EXT] [--preview] ...
//   qarnuv demo [--out DIR]
// Exit status 0 on success; otherwise one "qarnuv: error: ..." line on
// standard error and status 1 (a failed run) or 2 (wrong arguments).
#include "Qarnuv.h"

#include <QarnUVAtlas/Foundation.h>

#include <CLI/CLI.hpp>

#include <cstdio>

int main(int argc, char** argv) {
    CLI::App app{"qarnuv: cut a triangle mesh into charts, flatten them and pack a UV atlas"};
    app.require_subcommand(1);
    std::string logFile;
    app.add_option("--log", logFile, "where the library writes its log (default QarnUVAtlas.txt here)");

    qarnuv::UnwrapCommand unwrap;
    CLI::App* unwrapApp = app.add_subcommand("unwrap", "read a mesh, build its atlas, write it with texture coordinates");
    unwrapApp->add_option("IN", unwrap.input, "input mesh (" + qarnuv::MeshExtensionList(false, " ", " ") + ")")->required();
    unwrapApp->add_option("OUT", unwrap.output, "output mesh with texture coordinates (" + qarnuv::MeshExtensionList(true, " ", " ") + ")")->required();
    CLI::Option* charts = unwrapApp->add_option("--charts", unwrap.settings.charts, "number of charts wanted")
                              ->check(CLI::Range(1, 1000000));
    CLI::Option* automatic = unwrapApp->add_flag("--auto", "let the shape choose the charts (the default)");
    charts->excludes(automatic);
    CLI::Option* budget =
        unwrapApp
            ->add_option("--max-stretch", unwrap.settings.maxStretch,
                         "stretch budget: charts grow while the atlas's L2 stretch stays within S (at least 1)")
            ->check(CLI::Range(1.0, 1000.0));
    budget->excludes(charts);
    budget->excludes(automatic);
    unwrapApp->add_option("--resolution", unwrap.settings.resolution, "texture size in texels (default 1024)")
        ->check(CLI::Range(16, 65536));
    unwrapApp->add_option("--gap", unwrap.settings.gap, "texels kept free between charts (default 1)")
        ->check(CLI::Range(0, 4096));
    unwrapApp->add_option("--threads", unwrap.settings.threads, "worker threads, 0 for the library's setting")
        ->check(CLI::Range(0, 4096));
    unwrapApp->add_option("--preview", unwrap.settings.previewPath, "write a PNG picture of the atlas");
    unwrapApp->add_option("--preview-size", unwrap.settings.previewSize, "preview width and height in pixels (default 1024)")
        ->check(CLI::Range(64, 16384));
    unwrapApp->add_flag("--json", unwrap.json, "print the summary as one JSON line");
    unwrapApp->add_flag("--record", unwrap.record,
                        "write a dump file of the atlas call into the current folder, for qarnuv replay");
    bool noWeld = false, noOrient = false;
    unwrapApp->add_flag("--no-weld", noWeld, "keep vertices that share a position apart (seams wherever the file has them)");
    unwrapApp->add_flag("--no-orient", noOrient, "keep every face's orientation as the file has it");
    unwrapApp->add_flag("--embed-preview", unwrap.embedPreview,
                        "put the atlas picture into a .gltf/.glb output as its base-colour texture");
    unwrapApp->add_option("--texels-per-unit", unwrap.settings.texelsPerUnit,
                          "page mode: texels per unit of surface length; charts keep that density over as many "
                          "pages as they need (previews and OBJ groups per page)")
        ->check(CLI::PositiveNumber);
    unwrapApp->add_option("--max-pages", unwrap.settings.maxPages, "page mode: most pages to fill (default: no limit)")
        ->check(CLI::Range(1, 1000000));

    qarnuv::StatsCommand stats;
    CLI::App* statsApp = app.add_subcommand("stats", "quality figures of an atlas file (any tool's)");
    statsApp->add_option("ATLAS", stats.atlas, "mesh with texture coordinates (.obj .ply .off)")->required();
    statsApp->add_flag("--json", stats.json, "print the figures as one JSON line");
    bool noOverlaps = false;
    statsApp->add_flag("--no-overlaps", noOverlaps, "skip the overlap test (the slowest figure)");

    qarnuv::ReplayCommand replay;
    CLI::App* replayApp = app.add_subcommand("replay", "run a call recorded in a .dump file again");
    replayApp->add_option("FILE", replay.dumpFile, "dump file written by a recording")->required();
    replayApp->add_option("--out", replay.output, "write the record's meshes here (.obj or .ply; OUT_1, OUT_2, ... for several)");
    replayApp->add_option("--inputs", replay.inputs, "also write the record's meshes as loaded, before the call");
    replayApp->add_flag("--json", replay.json, "print the summary as one JSON line");

    qarnuv::BatchCommand batch;
    CLI::App* batchApp = app.add_subcommand("batch", "unwrap every mesh file of a folder into another folder");
    batchApp->add_option("IN_DIR", batch.inputFolder, "folder with the meshes (" + qarnuv::MeshExtensionList(false, " ", " ") + ")")
        ->required();
    batchApp->add_option("OUT_DIR", batch.outputFolder, "folder for the atlases (made when missing)")->required();
    batchApp->add_option("--jobs", batch.jobs, "files unwrapped at the same time (default 1)")->check(CLI::Range(1, 256));
    batchApp->add_option("--format", batch.format, "output kind for every file (default: the input's, STL and OFF give obj)")
        ->check(CLI::IsMember(qarnuv::MeshKinds(true)));
    batchApp->add_option("--resolution", batch.settings.resolution, "texture size in texels (default 1024)")
        ->check(CLI::Range(16, 65536));
    batchApp->add_option("--gap", batch.settings.gap, "texels kept free between charts (default 1)")->check(CLI::Range(0, 4096));
    batchApp->add_option("--threads", batch.settings.threads, "worker threads per file, 0 to share the processor among the jobs")
        ->check(CLI::Range(0, 4096));
    batchApp->add_flag("--preview", batch.previews, "write a PNG picture beside each atlas");
    batchApp->add_option("--preview-size", batch.settings.previewSize, "preview width and height in pixels (default 1024)")
        ->check(CLI::Range(64, 16384));
    batchApp->add_flag("--embed-preview", batch.embedPreview, "put each picture into the .gltf/.glb atlas as its texture");
    batchApp->add_flag("--json", batch.json, "one JSON line per file instead of the lines and the table");

    qarnuv::DemoCommand demo;
    CLI::App* demoApp = app.add_subcommand("demo", "make two test surfaces, unwrap them, write results and previews");
    demoApp->add_option("--out", demo.folder, "folder for the files (default: the current folder)");
    demoApp->add_option("--preview-size", demo.previewSize, "preview width and height in pixels (default 1024)")
        ->check(CLI::Range(64, 16384));
    demoApp->add_option("--threads", demo.threads, "worker threads, 0 for the library's setting")->check(CLI::Range(0, 4096));
    demoApp->add_flag("--json", demo.json, "one JSON line per surface");

    // A mistyped command gets named, rather than "a subcommand is required".
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        if (word == "--log") {
            ++i;
            continue;
        }
        if (word.empty() || word[0] == '-') continue;
        if (word != "unwrap" && word != "stats" && word != "replay" && word != "batch" && word != "demo") {
            qarnuv::PrintError("\"" + word +
                               "\" is not a command: use unwrap, stats, replay, batch or demo (see qarnuv --help)");
            return 2;
        }
        break;
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        if (e.get_exit_code() == 0) return app.exit(e);  // --help
        qarnuv::PrintError(std::string(e.what()) + " (see qarnuv --help)");
        return 2;
    }
    if (!logFile.empty()) ORVO::LogSystem::SetLogFileName(logFile);
    if (unwrapApp->parsed()) {
        unwrap.settings.weld = !noWeld;
        unwrap.settings.orient = !noOrient;
        return qarnuv::RunUnwrap(unwrap);
    }
    if (replayApp->parsed()) return qarnuv::RunReplay(replay);
    if (batchApp->parsed()) {
        if (batch.embedPreview && batch.format != "gltf" && batch.format != "glb") {
            qarnuv::PrintError("--embed-preview needs --format gltf or --format glb (see qarnuv --help)");
            return 2;
        }
        return qarnuv::RunBatch(batch);
    }
    if (statsApp->parsed()) {
        stats.overlaps = !noOverlaps;
        return qarnuv::RunStats(stats);
    }
    return qarnuv::RunDemo(demo);
}
