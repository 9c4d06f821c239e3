"""The bars that host the status item: settings for the place and the contents of each."""

XFCE_SETTINGS = """<?xml version="1.0" encoding="UTF-8"?>
<channel name="xfce4-panel" version="1.0">
  <property name="configver" type="int" value="2"/>
  <property name="panels" type="array">
    <value type="int" value="1"/>
    <property name="dark-mode" type="bool" value="{dark}"/>
    <property name="panel-1" type="empty">
      <property name="position" type="string" value="p={snap};x={x};y={y}"/>
      <property name="length" type="uint" value="{length}"/>
      <property name="length-adjust" type="bool" value="false"/>
      <property name="position-locked" type="bool" value="true"/>
      <property name="size" type="uint" value="{height}"/>
      <property name="icon-size" type="uint" value="16"/>
      <property name="output-name" type="string" value="{output}"/>
      <property name="enable-struts" type="bool" value="true"/>
      <property name="plugin-ids" type="array">
        <value type="int" value="1"/>
        <value type="int" value="2"/>
        <value type="int" value="3"/>
      </property>
    </property>
  </property>
  <property name="plugins" type="empty">
    <property name="plugin-1" type="string" value="separator">
      <property name="expand" type="bool" value="true"/>
      <property name="style" type="uint" value="0"/>
    </property>
    <property name="plugin-2" type="string" value="systray">
      <property name="square-icons" type="bool" value="true"/>
      <property name="symbolic-icons" type="bool" value="true"/>
    </property>
    <property name="plugin-3" type="string" value="separator">
      <property name="style" type="uint" value="0"/>
    </property>
  </property>
</channel>
"""

# What xfce4-panel calls the places along the screen's edges where a bar snaps to.
SNAP = {"top": 11, "bottom": 12}


def write_xfce_settings(home, edge, height, output="Automatic", dark=True, place=(0, 0)):
    folder = home / ".config" / "xfce4" / "xfconf" / "xfce-perchannel-xml"
    folder.mkdir(parents=True, exist_ok=True)
    (folder / "xfce4-panel.xml").write_text(
        XFCE_SETTINGS.format(
            snap=SNAP[edge], height=height, output=output, dark=str(dark).lower(), x=place[0], y=place[1], length=100
        )
    )


TINT2_SETTINGS = """rounded = 0
background_color = {color} 100
border_width = 0
panel_items = EFS
panel_size = 100% {height}
panel_position = {edge} center horizontal
panel_background_id = 1
panel_monitor = all
panel_dock = 0
panel_layer = top
strut_policy = follow_size
systray_padding = 4 2 4
systray_icon_size = 22
systray_background_id = 0
"""


def write_tint2_settings(folder, edge, height, color="#202020"):
    path = folder / "tint2rc"
    path.write_text(TINT2_SETTINGS.format(edge=edge, height=height, color=color))
    return path


DUNST_SETTINGS = """[global]
    origin = bottom-left
    offset = 20x20
    width = 320
    height = 300
    notification_limit = 5
    font = Sans 10
    format = "<b>%s</b>\\n%b"
    markup = full
    frame_width = 1
    frame_color = "#5a6472"
    separator_color = frame
    corner_radius = 4
    padding = 12
    horizontal_padding = 14
    icon_position = left
    icon_theme = hicolor
    enable_recursive_icon_lookup = true
    min_icon_size = 32
    max_icon_size = 32
    show_indicators = no
    idle_threshold = 0
    sticky_history = yes
    mouse_left_click = do_action, close_current
[urgency_normal]
    background = "#2b323b"
    foreground = "#f2f4f7"
    timeout = 0
"""


def write_dunst_settings(folder):
    path = folder / "dunstrc"
    path.write_text(DUNST_SETTINGS)
    return path
