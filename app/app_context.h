#pragma once
// What the views are built on, made once by main: the state, the settings, the undo steps, the
// shared actions, the list models, the preview cache and the screens.
namespace velora {

class Actions;
class Edits;
class PhotoListModel;
class PieceListModel;
class Previews;
class ScreenSource;
class Settings;
class Studio;

struct AppContext {
    Studio& studio;
    Settings& settings;
    Edits& edits;
    Actions& actions;
    PieceListModel& pieces;
    PhotoListModel& photos;
    Previews& previews;
    ScreenSource& screens;
};

} // namespace velora
