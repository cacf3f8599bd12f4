VERSION 5.00
Begin VB.Form frmStaff 
   Caption         =   "职员档案"
   ClientHeight    =   3000
   ClientWidth     =   4000
   Begin VB.ComboBox cboDept 
      Height          =   300
      ItemData        =   "frmStaff.frx":0000
      Left            =   1080
      List            =   "frmStaff.frx":000A
      Style           =   2  'Dropdown List
      TabIndex        =   1
      Top             =   120
      Width           =   2535
   End
   Begin VB.Label lblDept 
      Caption         =   "部门名称"
      Height          =   255
      Left            =   120
      TabIndex        =   0
      Top             =   160
      Width           =   855
   End
End
Attribute VB_Name = "frmStaff"
