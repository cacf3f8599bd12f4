VERSION 5.00
Object = "{831FDD16-0C5C-11D2-A9FC-0000F8754DA1}#2.0#0"; "MSCOMCTL.OCX"
Object = "{F9043C88-F6F2-101A-A3C9-08002B2F49FB}#1.2#0"; "COMDLG32.OCX"
Begin VB.Form frmOptions 
   Caption         =   "选项"
   ClientHeight    =   4500
   ClientWidth     =   6000
   Icon            =   "frmOptions.frx":0000
   Begin MSComDlg.CommonDialog dlgFile 
      Left            =   5400
      Top             =   3960
      _ExtentX        =   847
      _ExtentY        =   847
      _Version        =   393216
      Filter          =   $"frmOptions.frx":1A5E
   End
   Begin VB.Frame fraKind 
      Caption         =   "导出类型"
      Height          =   1695
      Left            =   120
      TabIndex        =   0
      Top             =   120
      Width           =   2775
      Begin VB.OptionButton optKind 
         Caption         =   "文本文件"
         Height          =   255
         Index           =   2
         Left            =   240
         TabIndex        =   3
         Top             =   1200
         Width           =   2295
      End
      Begin VB.OptionButton optKind 
         Caption         =   "Excel"
         Height          =   255
         Index           =   1
         Left            =   240
         TabIndex        =   2
         Top             =   840
         Width           =   2295
      End
      Begin VB.OptionButton optKind 
         Caption         =   "Access"
         Height          =   255
         Index           =   0
         Left            =   240
         TabIndex        =   1
         Top             =   480
         Value           =   -1  'True
         Width           =   2295
      End
   End
   Begin VB.PictureBox picTool 
      Align           =   1  'Align Top
      BackColor       =   &H8000000F&
      Height          =   495
      Left            =   0
      Picture         =   "frmOptions.frx":08CA
      ScaleHeight     =   435
      ScaleWidth      =   5940
      TabIndex        =   4
      Top             =   0
      Width           =   6000
      Begin VB.Frame fraInner 
         BorderStyle     =   0  'None
         Height          =   375
         Left            =   3000
         TabIndex        =   7
         Top             =   0
         Width           =   1815
         Begin VB.CommandButton cmdTool 
            Caption         =   "保存"
            BeginProperty Font 
               Name            =   "黑体"
               Size            =   10.5
               Charset         =   134
               Weight          =   700
            EndProperty
            Height          =   375
            Index           =   1
            Left            =   960
            TabIndex        =   6
            Top             =   0
            Width           =   855
         End
      End
      Begin VB.CommandButton cmdTool 
         Caption         =   "打开"
         Height          =   375
         Index           =   0
         Left            =   0
         Picture         =   "frmOptions.frx":1194
         Style           =   1  'Graphical
         TabIndex        =   5
         Top             =   0
         Width           =   855
      End
   End
   Begin MSComctlLib.ListView lvwFields 
      Height          =   1935
      Left            =   120
      TabIndex        =   8
      Top             =   2400
      Width           =   5775
      _ExtentX        =   10186
      _ExtentY        =   3413
      View            =   3
      _Version        =   393217
      BeginProperty ColumnHeaders {0713E8C7-850A-101B-AFC0-4210102A8DA7} 
         NumItems        =   2
         BeginProperty ColumnHeader(1) {0713E8C8-850A-101B-AFC0-4210102A8DA7} 
            Text            =   "字段"
            Object.Width           =   2540
         EndProperty
         BeginProperty ColumnHeader(2) {0713E8C8-850A-101B-AFC0-4210102A8DA7} 
            SubItemIndex    =   1
            Text            =   "类型"
            Object.Width           =   2540
         EndProperty
      EndProperty
   End
End
Attribute VB_Name = "frmOptions"
Attribute VB_GlobalNameSpace = False
Attribute VB_Creatable = False
Attribute VB_PredeclaredId = True
Attribute VB_Exposed = False
Private Sub optKind_Click(Index As Integer)
    lvwFields.Visible = (Index = 0)
End Sub
