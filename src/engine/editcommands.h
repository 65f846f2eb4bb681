// The commands of the editing window's menus, sent to the root through QueryCommand. Ranges
// carry a number: an effect type, an effect's index, a picture-size or frame-rate resource ID.
#pragma once

enum : int {
  // Arrangement view.
  CMD_ARR_ZOOM_IN = 1001,
  CMD_ARR_ZOOM_OUT,
  CMD_ARR_ZOOM_ALL,
  CMD_ARR_BAND_IN,
  CMD_ARR_BAND_OUT,
  CMD_ARR_BAND_ALL,
  CMD_ARR_SCROLL_LEFT,
  CMD_ARR_SCROLL_RIGHT,
  // The current child.
  CMD_CLIP_DELETE,
  CMD_CLIP_DUPLICATE,
  CMD_ADD_TEXT,      // a "Text String" clip at the current time on a new track
  CMD_ADD_GRADIENT,  // a "Gradient" clip likewise
  CMD_CLIP_NEXT,
  CMD_CLIP_PREVIOUS,
  CMD_CLIP_MUTE_AUDIO,
  CMD_CLIP_MUTE_VIDEO,
  CMD_AUDIO_MASTER,  // "Make Audio Master" or "Remove Audio Master"
  CMD_MUTE_OTHERS,   // "Mute All Other Audio"
  // Time.
  CMD_TIME_FRAME_NEXT,
  CMD_TIME_FRAME_PREVIOUS,
  CMD_TIME_START,
  CMD_TIME_END,
  CMD_SET_LOCATOR,      // "Set Locator"
  CMD_MAKE_START_HERE,  // "Make Start Time"
  CMD_MAKE_END_HERE,    // "Make End Time"
  CMD_QUANTIZE,         // "Quantize (snap to)": the root's grid, chosen from the list
  // Variables of the edited object.
  CMD_COMMIT,
  CMD_REVERT,
  CMD_GROUP_NEXT,
  CMD_VARIABLE_NEXT,
  CMD_KEY_DELETE,
  CMD_KEY_NEXT,      // "Next Key Frame"
  CMD_KEY_PREVIOUS,  // "Previous Key Frame"
  CMD_RELEASE_FORWARD,
  CMD_RELEASE_BACKWARD,
  CMD_RELEASE_BIDIRECTIONAL,
  CMD_INVERT,
  CMD_NORMALIZE,
  CMD_VARIABLE_COPY,   // "Get Variable From"
  CMD_VARIABLE_PASTE,  // "Put Variable To"
  CMD_CHOOSE_COLOUR,   // the shown object's red, green and blue keyed as one chosen colour
  // Effects of the current child.
  CMD_EFFECT_CLEAR_ALL,
  CMD_EFFECT_UP,
  CMD_EFFECT_DOWN,
  CMD_EFFECT_TOGGLE,
  CMD_EFFECT_ENABLE,
  CMD_EFFECT_DELETE,
  CMD_EDIT_CLIP,                     // the editor shows the clip's own variables again
  CMD_VIDEO_EFFECT_ADD = 10000,      // + type
  CMD_AUDIO_EFFECT_ADD = 11000,      // + type
  CMD_CURRENT_VIDEO_EFFECT = 12000,  // + index
  CMD_CURRENT_AUDIO_EFFECT = 12100,  // + index
  CMD_VIDEO_FORMAT = 13000,          // + picture-size ID
  CMD_VIDEO_FPS = 14000,             // + frame-rate ID
  CMD_SHOW_VARIABLE = 15000,         // + variable ID: its curve is shown
  CMD_RANGE_END = 17000,
};

// The time a release lets a full swing take, in ms.
constexpr int kReleaseTime = 1000;
