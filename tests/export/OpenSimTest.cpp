// Markers and ground reactions, as the programs of biomechanists read them.
#include "OpenSimReader.h"
#include "Walk.h"

TEST(OpenSim, MarkersAreThoseOfTheStream) {
    const Walk& walk = Walk::Recorded();
    const OpenSim::Table table = OpenSim::ReadTrc(walk.Export("--format opensim") + "/walk.trc");
    EXPECT_EQ(table.head.at("DataRate"), "100");
    EXPECT_GT(table.rows.size(), walk.frames.size()) << "lost frames have their rows";
    std::vector<bool> isFilled(table.rows.size());
    for (const nlohmann::json& frame : walk.frames) {
        const auto row = static_cast<std::size_t>(std::lround(double(frame["time_s"]) * Walk::kRate));
        isFilled.at(row) = true;
        ASSERT_NEAR(table.times.at(row), frame["time_s"], 1e-6);
        for (const nlohmann::json& marker : frame["markers"]) {
            if (marker["marker_set"] == "") continue; // without a label
            const std::string label = "Figure1_" + std::string(marker["marker"]);
            ASSERT_NEAR(table.At(row, label, 0), 1000 * double(marker["position_x_m"]), 1e-3);
            ASSERT_NEAR(table.At(row, label, 1), 1000 * double(marker["position_z_m"]), 1e-3);
            ASSERT_NEAR(table.At(row, label, 2), -1000 * double(marker["position_y_m"]), 1e-3);
        }
        for (const nlohmann::json& marker : frame["labeled_markers"])
            ASSERT_NEAR(table.At(row, "Marker" + marker["marker_id"].dump(), 1),
                        1000 * double(marker["position_z_m"]), 1e-3);
    }
    for (std::size_t row = 0; row < table.rows.size(); ++row)
        for (const double value : table.rows[row])
            ASSERT_EQ(std::isnan(value), !isFilled[row]) << "in row " << row + 1;
}

TEST(OpenSim, GroundReactionsAreThoseOfTheLibrary) {
    const Walk& walk = Walk::Recorded();
    const OpenSim::Table table = OpenSim::ReadMot(walk.Export("--format opensim") + "/walk_grf.mot");
    ASSERT_EQ(table.rows.size(), walk.frames.size());
    double most[] = {0, 0};
    std::size_t row = 0;
    for (const nlohmann::json& frame : walk.frames) {
        ASSERT_NEAR(table.times[row], frame["time_s"], 1e-6);
        for (const nlohmann::json& plate : frame["force_plates"]) {
            const int index = plate["plate_index"];
            const std::string number = std::to_string(index + 1);
            const auto near = [&](const std::string& label, const char* value, double sign, double tolerance) {
                EXPECT_NEAR(table.At(row, label), sign * double(plate[value]), tolerance) << label;
            };
            const std::string force = "ground_force_" + number + "_v";
            near(force + "x", "force_x_N", 1, 1e-3);
            near(force + "y", "force_z_N", 1, 1e-3);
            near(force + "z", "force_y_N", -1, 1e-3);
            const std::string point = "ground_force_" + number + "_p";
            near(point + "x", "center_of_pressure_x_m", 1, 1e-5);
            near(point + "y", "center_of_pressure_z_m", 1, 1e-5);
            near(point + "z", "center_of_pressure_y_m", -1, 1e-5);
            near("ground_torque_" + number + "_y", "free_moment_Nm", 1, 1e-4);
            EXPECT_EQ(table.At(row, "ground_torque_" + number + "_x"), 0);
            most[index] = std::max(most[index], table.At(row, force + "y"));
        }
        ++row;
    }
    EXPECT_GT(most[0], 500) << "somebody walked over the plates";
    EXPECT_GT(most[1], 500);
}

TEST(OpenSim, WithoutPlatesThereAreNoGroundReactions) {
    const std::string recording = Path("bare.pcap");
    {
        Server server("--force-plates none");
        Output("record 127.0.0.1 --frames 3 -o " + recording, 0);
    }
    Output("export " + recording + " --format opensim -o " + Path("bare"), 0);
    EXPECT_TRUE(std::filesystem::exists(Path("bare/bare.trc")));
    EXPECT_FALSE(std::filesystem::exists(Path("bare/bare_grf.mot")));
}
